#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// The texts of the JSON benchmarks, the same in every run.
namespace vexa::bench {

// `indentation`: blanks for each level; 0: everything in one line.
//
// About 630 KB in the manner of a social network's search result: users within messages, texts in
// several scripts, 64-bit integers and the same as texts.
std::string tweets(size_t indentation);
// About 1.7 MB in the manner of a ticket office's catalogue: maps from numbers to names, lists of
// prices and areas; mostly small integers and short keys.
std::string catalogue(size_t indentation);
// What a page sends to the local endpoint: 300 bytes in one line.
std::string apiBody();
// One object with 10,000 members, numbers and strings, in one line.
std::string manyMembers();
// One object with a few members of the kinds that a request has, in one line.
std::string fewMembers(int count);
// A list of small objects of about `bytes` bytes, in one line.
std::string listOf(uint64_t bytes);

// Objects of about 1 MB with 50,000 keys of 16 bytes: such as come, and such as somebody chose who
// knows the module's sources, so that all of them meet in its hash table.
std::string honestKeys();
std::string collidingKeys();

}  // namespace vexa::bench
