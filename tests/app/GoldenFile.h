#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace gaugely {

// Compares a rendering with tests/golden/<name>, the file a reviewer reads to see every word;
// GAUGELY_UPDATE_GOLDEN=1 rewrites the file instead.
inline void expectGolden(const std::string& name, const std::string& text) {
    const char* source = std::getenv("GAUGELY_SOURCE_DIR");
    ASSERT_NE(source, nullptr);
    const std::filesystem::path golden = std::filesystem::path(source) / "tests/golden" / name;
    if (const char* update = std::getenv("GAUGELY_UPDATE_GOLDEN"); update && *update == '1') {
        std::ofstream(golden, std::ios::binary) << text;
        return;
    }
    std::ifstream file(golden, std::ios::binary);
    EXPECT_EQ(text, std::string(std::istreambuf_iterator<char>(file), {}))
        << golden << " differs; rerun with GAUGELY_UPDATE_GOLDEN=1 if intended";
}

}  // namespace gaugely
