// The application's error numbers.
#pragma once

#include <cstdint>

// Thrown by value, bare, and stored as numbers in documents; the numbers are fixed.
enum AERROR : int32_t {
  AERROR_PATH_NOT_FOUND = 4,  // A path names a member that does not exist.
  AERROR_JSON_PARSE = 6001,   // A text is no JSON document.
};
