// The form of e-mail addresses, told literally. A text is valid when the whole of it matches. For texts of up to some
// hundred bytes: the standard libraries' matchers recurse or give up on long ones.
#pragma once

#include <regex>

inline std::regex ModelEmailForm() { return std::regex(R"((\w+)(\.|_)?(\w*)@(\w+)(\.(\w+))+)"); }
