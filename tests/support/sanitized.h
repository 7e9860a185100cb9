// Whether this build has sanitizers, which slow everything down: tests of many cases take fewer of them then.
#pragma once

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
static constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
static constexpr bool kSanitized = true;
#else
static constexpr bool kSanitized = false;
#endif
#else
static constexpr bool kSanitized = false;
#endif

// How many times fewer cases are made up.
static constexpr int kStressDivisor = kSanitized ? 10 : 1;

// How many characters longer texts get where all of them are tried.
static constexpr size_t kOneLonger = kSanitized ? 0 : 1;
