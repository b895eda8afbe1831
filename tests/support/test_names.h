// Names of parameterised tests, which may hold letters, digits and underscores only.
#ifndef TESTS_SUPPORT_TEST_NAMES_H
#define TESTS_SUPPORT_TEST_NAMES_H

#include <cctype>
#include <string>

// An id as a part of a name: any other character stands as its code.
inline std::string as_test_name(const std::string &id) {
    constexpr char kHex[] = "0123456789abcdef";
    std::string name;
    for (const char c : id) {
        const auto byte = static_cast<unsigned char>(c);
        if (std::isalnum(byte) != 0) {
            name += c;
        } else {
            name += {'_', kHex[byte / 16], kHex[byte % 16]};
        }
    }
    return name;
}

#endif
