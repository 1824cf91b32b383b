#include "LowUsageNotificationSupport/Regex.h"

#include <unicode/uregex.h>

#include "LowUsageNotificationSupport/Utf16.h"

namespace gaugely {

struct Regex::Impl {
    URegularExpression* regex = nullptr;
    ~Impl() { uregex_close(regex); }
};

Regex::Regex(std::string_view pattern, unsigned flags) {
    const std::u16string source = utf16::fromUtf8(pattern);
    uint32_t icuFlags = 0;
    if (flags & caseInsensitive) {
        icuFlags |= UREGEX_CASE_INSENSITIVE;
    }
    if (flags & dotAll) {
        icuFlags |= UREGEX_DOTALL;
    }
    UErrorCode status = U_ZERO_ERROR;
    UParseError parseError{};
    URegularExpression* compiled = uregex_open(source.data(), static_cast<int32_t>(source.size()),
                                               icuFlags, &parseError, &status);
    if (U_FAILURE(status) || compiled == nullptr) {
        uregex_close(compiled);
        return;
    }
    impl_ = std::make_unique<Impl>();
    impl_->regex = compiled;
}

Regex::~Regex() = default;

namespace {

std::optional<Regex::Match> collectGroups(URegularExpression* regex, const std::u16string& text) {
    UErrorCode status = U_ZERO_ERROR;
    const int32_t groupCount = uregex_groupCount(regex, &status);
    if (U_FAILURE(status)) {
        return std::nullopt;
    }
    Regex::Match match;
    match.groups.reserve(static_cast<size_t>(groupCount) + 1);
    for (int32_t group = 0; group <= groupCount; ++group) {
        status = U_ZERO_ERROR;
        const int32_t start = uregex_start(regex, group, &status);
        const int32_t end = uregex_end(regex, group, &status);
        if (U_FAILURE(status) || start < 0 || end < start) {
            match.groups.emplace_back();
            continue;
        }
        match.groups.push_back(utf16::toUtf8(text.data() + start, end - start));
    }
    return match;
}

}  // namespace

std::optional<Regex::Match> Regex::firstMatch(std::string_view text) const {
    if (!impl_) {
        return std::nullopt;
    }
    const std::u16string subject = utf16::fromUtf8(text);
    UErrorCode status = U_ZERO_ERROR;
    uregex_setText(impl_->regex, subject.data(), static_cast<int32_t>(subject.size()), &status);
    if (U_FAILURE(status)) {
        return std::nullopt;
    }
    const UBool found = uregex_find(impl_->regex, 0, &status);
    std::optional<Match> result;
    if (U_SUCCESS(status) && found) {
        result = collectGroups(impl_->regex, subject);
    }
    // Never leave the pattern pointing at a buffer that is about to be freed.
    status = U_ZERO_ERROR;
    uregex_setText(impl_->regex, u"", 0, &status);
    return result;
}

bool Regex::matchesEntirely(std::string_view text) const {
    if (!impl_) {
        return false;
    }
    const std::u16string subject = utf16::fromUtf8(text);
    UErrorCode status = U_ZERO_ERROR;
    uregex_setText(impl_->regex, subject.data(), static_cast<int32_t>(subject.size()), &status);
    if (U_FAILURE(status)) {
        return false;
    }
    const UBool matched = uregex_matches(impl_->regex, 0, &status);
    const bool result = U_SUCCESS(status) && matched;
    status = U_ZERO_ERROR;
    uregex_setText(impl_->regex, u"", 0, &status);
    return result;
}

}  // namespace gaugely
