// The locale in which wide text is formatted, for `wstring_format` alone.
#pragma once

#include <memory>

// Makes the calling thread format and read wide text as `wstring_format` needs it, until what it returns is destroyed
// on the same thread. Where a stream in memory takes wide characters as they are, it does nothing and returns null.
//
// Throws only what allocation throws.
std::shared_ptr<void> EnterFormatLocale();
