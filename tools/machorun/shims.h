// What programs import from the system's library: the host's functions where both systems agree, and functions that
// translate numbers and layouts where they don't.
#pragma once

#include <string>

struct Shim {
  const char* name;  // As it is imported, with its underscore.
  void* address;
};

// The address for an imported symbol. A function that is not known is answered with one that ends the process and names
// it, when it is called: a program may carry imports that it never uses. One that may be missing, because the program
// asks whether it is there, is answered with null.
void* SystemSymbol(const std::string& name, bool may_be_missing);

// Each file of shims hands out its table, which ends with a null name.
const Shim* FileShims();
const Shim* ProcessShims();
const Shim* SignalShims();
const Shim* TextShims();
const Shim* ThreadShims();

// The program that runs, as the kernel was asked for it, and its arguments.
void SetProgram(const std::string& path, int argc, char** argv);

// The host's number for an error of macOS, and the reverse.
int HostError(int darwin_error);
int DarwinError(int host_error);

// The host's number for a signal of macOS, and the reverse; 0 for one that the other system does not have.
int HostSignal(int darwin_signal);
int DarwinSignal(int host_signal);
