// Hexadecimal digits: the upper-case digit of each nibble, for every writer of hexadecimal text (the
// "\uXXXX" escapes, password blocks), and the value of a digit of either case, for its readers.
#pragma once

inline constexpr char kZrHexDigits[] = "0123456789ABCDEF";

// The digit's value, or -1 for a character that is no hexadecimal digit.
constexpr int ZrHexValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}
