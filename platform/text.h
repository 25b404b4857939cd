// Conversion between the wide text used inside the program and UTF-8 outside it. Any thread; allocates.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarnwick::platform {

// Malformed sequences become U+FFFD, so that no input fails.
std::wstring WideFromUtf8(std::string_view text);
std::string Utf8FromWide(std::wstring_view text);

// Small letters for large ones, by the same folding as EqualIgnoringCase.
std::wstring LowerCase(std::wstring_view text);

// Compares without regard to case (ASCII letters and the locale-independent simple folding of towlower).
bool EqualIgnoringCase(std::wstring_view a, std::wstring_view b);

// Where the character with number `count` begins; the text's length when it has no more than `count`. A character that
// takes two units counts as one.
size_t StartOfCharacter(std::wstring_view text, size_t count);

// Without leading and trailing blanks (space, tab, line ends).
std::wstring Trimmed(std::wstring_view text);

}  // namespace tarnwick::platform
