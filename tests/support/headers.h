#pragma once

// What nearly every test includes, compiled once for all of them (tests/CMakeLists.txt). None of
// ours, else a change of it would compile all tests anew. Each test includes what it uses all the
// same: clang-tidy reads it without this.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>
