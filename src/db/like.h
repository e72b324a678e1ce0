// SQLite's LIKE, evaluated in memory: what "<column> LIKE <pattern>" selects,
// so that a table read once can be filtered row by row with the same result
// as a filtered select. '%' matches any run of characters, '_' one character,
// ASCII letters compare without regard to case, there is no escape character,
// and a text is read as characters the way SQLite reads UTF-8 (invalid bytes
// included).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace doreldb {

bool likeMatch(std::string_view pattern, std::string_view text);

// Whether a pattern holds a wildcard; without one LIKE is a comparison of the
// texts' characters, ASCII case aside, which the next three make without a
// copy.
bool hasLikeWildcard(std::string_view pattern);
bool likeEqual(std::string_view a, std::string_view b);
// A hash of the text's characters, continuing from seed (the hash of the
// values before it): texts that likeEqual() calls equal hash alike.
constexpr uint32_t kLikeHashSeed = 2166136261u;
uint32_t likeHash(std::string_view text, uint32_t seed = kLikeHashSeed);
// A key for a map: equal keys exactly for texts likeEqual() calls equal.
std::string likeKey(std::string_view text);

}  // namespace doreldb
