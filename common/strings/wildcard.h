// Matches file names against wildcard expressions that know of a name's extension.
//
//   *    any run of characters, the empty one included
//   ?    one character, whatever it is
//   <    any run of characters that stops at or before the last '.' of the name, so that the '.' is left for what
//        follows; without a '.' ahead it is like '*', but at the start of the name it then takes nothing
//   >    one character, except the last '.' of the name: before that it takes nothing
//   "    one '.', or nothing where no '.' is next
//
// Every other character, '.' included, stands for itself, and there is no way to escape a wildcard. The whole name has
// to match.
//
// Behind the end of the name the wildcards differ, and that is relied upon: '*' and '<' take the empty run there, '"'
// takes nothing, while '?' and '>' step beyond the end. From there only further '?' and a '*' at the end of the
// expression go on, and only that '*' still succeeds: "?*" matches the empty name and "*?" does not. Where '*' and '<'
// try what follows them on the rest of a name, that rest counts as a name of its own with a start of its own: "<"
// does not match "abc", but "*<" does.
//
// The time grows with the product of both lengths at worst, whatever the wildcards; nothing recurses. Nothing is
// allocated, and nothing behind the terminators is read.
#pragma once

// Return whether the name matches the expression. Both are terminated by a NUL and not null.
//
// With `ignore_case`, characters other than wildcards are equal when the current locale gives them the same
// upper case: in the wide variant every character, in the narrow one only bytes below 0x80, since the others are
// parts of characters. The narrow variant works on bytes, so that a '?' is one byte of a UTF-8 character.
//
// Pure, and safe to call from any thread and between `fork` and `execv`.
//
//   IsNameInExpressionA("<.txt", "a.b.txt", false)  // true
//   IsNameInExpressionA("*.TXT", "a.txt", true)     // true
bool IsNameInExpression(const wchar_t* expression, const wchar_t* name, bool ignore_case);
bool IsNameInExpressionA(const char* expression, const char* name, bool ignore_case);
