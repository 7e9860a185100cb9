// What the library of the fixture `program` exports.
#pragma once

extern "C" {
extern __attribute__((visibility("default"))) int g_library_number;
__attribute__((visibility("default"))) int* LibraryNumber();
__attribute__((visibility("default"))) int CallBack(int (*function)(int), int number);
}
