// Encodes bytes as Base64 text.
#pragma once

// Returns the Base64 text of the `length` bytes at `data`, terminated by a NUL, without line breaks:
// 4 * ceil(length / 3) characters of A-Z, a-z, 0-9, '+' and '/', the last group filled up with '='.
//
// THE TEXT BELONGS TO `base64` and lives until its next call on any thread, which frees it first of all, even when
// that call fails. Copy it to keep it; never free it.
//
// NOT SAFE FOR CONCURRENT USE: two calls at once free each other's results. Callers take turns, until the copy is made.
//
// Returns null when `data` is null, when `length` is 0 and when memory does not suffice.
//
// A last group with one byte carries set bits where other encoders leave zeros, because the missing bytes count as '='
// (0x3D): "a" becomes "YT==", not "YQ==". Decoders ignore these bits.
//
//   const char* text = base64(reinterpret_cast<const unsigned char*>("foobar"), 6);
//   const std::string kept = text != nullptr ? text : "";  // "Zm9vYmFy"
char* base64(const unsigned char* data, unsigned long length);
