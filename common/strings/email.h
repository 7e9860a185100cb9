// Validates the form of e-mail addresses.
#pragma once

#include <string>

// Returns whether the whole of `text` has the form of an e-mail address that the application accepts:
// "(\w+)(\.|_)?(\w*)@(\w+)(\.(\w+))+", where \w is a letter, a digit or '_' in the global C++ locale (`std::locale()`).
// No program of the application changes that, so these are the ASCII ones; `setlocale` alone has no influence.
//
// That is stricter than the mail standards ('-', '+' and a second '.' in the local part are refused) and laxer in
// one place (a '.' directly before the '@' is accepted). The time is linear in the length, and nothing is allocated.
// Throws nothing; safe to call from any thread.
//
//   is_email_valid("ab.cd@ef.gh")  // true
//   is_email_valid("ab-cd@ef.gh")  // false
bool is_email_valid(const std::string& text);
