// The application's error numbers. They are thrown by value and bare, without an exception class around them, so that
// `catch (const std::exception&)` does not see them:
//
//   try {
//     JsonObject list(text.c_str());
//   } catch (AERROR error) {  // AERROR_JSON_PARSE
//   }
#pragma once

#include <cstdint>

// The numbers are fixed, because documents hold them; 32 bits wide.
enum AERROR : int32_t {
  AERROR_PATH_NOT_FOUND = 4,  // A path names a member that does not exist.
  AERROR_JSON_PARSE = 6001,   // A text is not a JSON document.
};
