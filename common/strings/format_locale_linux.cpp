#include "common/strings/format_locale.h"

std::shared_ptr<void> EnterFormatLocale() { return nullptr; }
