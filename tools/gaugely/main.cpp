#include <iostream>

int main() {
    std::cout << "gaugely\n";
    return 0;
}
