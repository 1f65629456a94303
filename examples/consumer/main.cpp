// The smallest program on the installed library.
#include "varnek/data/Array.hpp"

#include <iostream>

int main() {
    const auto size = varnek::data::Array::make<double>({2, 3}, {1, 2, 3, 4, 5, 6});
    if (varnek::data::dimensionsText(size) != "2x3")
        return 1;
    std::cout << "settingscore works\n";
}
