#include "tools/machorun/thread_locals.h"

#include <pthread.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "tools/machorun/failure.h"

// A variable's descriptor, as compiled code knows it: it calls `get` with the descriptor's address in rdi.
struct Descriptor {
  void* get;
  uint64_t image;
  uint64_t offset;
};

struct Template {
  pthread_key_t key;
  const void* bytes;
  size_t size;
};

static constexpr size_t kMostImages = 16;
static Template g_templates[kMostImages];
static size_t g_template_count = 0;

extern "C" void* ThreadLocalAddress(const Descriptor* descriptor) {
  const Template& made = g_templates[descriptor->image];
  void* block = pthread_getspecific(made.key);
  if (block == nullptr) {
    block = malloc(made.size);
    if (block == nullptr) Fail("no memory for thread-local variables");
    memcpy(block, made.bytes, made.size);
    (void)pthread_setspecific(made.key, block);
  }
  return static_cast<char*>(block) + descriptor->offset;
}

// Compiled code relies on every register but rax and rdi keeping its value.
__asm__(
    ".text\n"
    "GetThreadLocal:\n"
    "  .cfi_startproc\n"
    "  push %rbp\n"
    "  .cfi_def_cfa_offset 16\n"
    "  .cfi_offset %rbp, -16\n"
    "  mov %rsp, %rbp\n"
    "  .cfi_def_cfa_register %rbp\n"
    "  push %rcx\n  push %rdx\n  push %rsi\n  push %r8\n  push %r9\n  push %r10\n  push %r11\n  push %rbx\n"
    "  sub $528, %rsp\n"
    "  mov %rsp, %rbx\n"
    "  and $-16, %rsp\n"
    "  fxsave64 (%rsp)\n"
    "  call ThreadLocalAddress\n"
    "  fxrstor64 (%rsp)\n"
    "  mov %rbx, %rsp\n"
    "  add $528, %rsp\n"
    "  pop %rbx\n  pop %r11\n  pop %r10\n  pop %r9\n  pop %r8\n  pop %rsi\n  pop %rdx\n  pop %rcx\n"
    "  pop %rbp\n"
    "  .cfi_def_cfa %rsp, 8\n"
    "  ret\n"
    "  .cfi_endproc\n");
extern "C" char GetThreadLocal[];

void RegisterThreadLocals(const Image& image) {
  constexpr uint32_t kInitialised = 0x11, kZeroed = 0x12, kDescriptors = 0x13;
  uint64_t start = UINT64_MAX;
  uint64_t end = 0;
  for (const Section& section : image.sections) {
    if (section.type != kInitialised && section.type != kZeroed) continue;
    start = std::min(start, section.address);
    end = std::max(end, section.address + section.bytes);
  }
  if (start >= end) return;
  if (g_template_count == kMostImages) Fail("%s: too many images with thread-local variables", image.path.c_str());
  Template& made = g_templates[g_template_count];
  made.bytes = At<const void>(image.Loaded(start));
  made.size = end - start;
  if (pthread_key_create(&made.key, &free) != 0) Fail("no key for thread-local variables");
  for (const Section& section : image.sections) {
    if (section.type != kDescriptors) continue;
    auto* const descriptors = At<Descriptor>(image.Loaded(section.address));
    for (size_t i = 0; i < section.bytes / sizeof(Descriptor); ++i) {
      descriptors[i].get = GetThreadLocal;
      descriptors[i].image = g_template_count;
    }
  }
  ++g_template_count;
}
