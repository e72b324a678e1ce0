// SQLite's LIKE, evaluated in memory: what "<column> LIKE <pattern>" selects,
// so that a table read once can be filtered row by row with the same result
// as a filtered select. '%' matches any run of characters, '_' one character,
// ASCII letters compare without regard to case, there is no escape character.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace doreldb {

bool likeMatch(const std::string& pattern, const std::string& text);

// Whether a pattern holds a wildcard; without one LIKE is a comparison of the
// ASCII-lower-cased texts, which the next two make without a copy.
bool hasLikeWildcard(std::string_view pattern);
bool equalIgnoringAsciiCase(std::string_view a, std::string_view b);
// A hash of the ASCII-lower-cased text, continuing from seed (the hash of
// the values before it): texts that compare equal above hash alike.
constexpr uint32_t kAsciiLowerHashSeed = 2166136261u;
uint32_t asciiLowerHash(std::string_view text, uint32_t seed = kAsciiLowerHashSeed);

// The text with ASCII letters lower-cased (other bytes kept).
std::string asciiLower(const std::string& text);

}  // namespace doreldb
