// Errors, character classes, locales, wide characters and formatting.

#include <errno.h>
#include <limits.h>
#include <locale.h>
#include <regex.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <uuid/uuid.h>
#include <wchar.h>
#include <wctype.h>

#include <cctype>

#include "tools/machorun/darwin.h"
#include "tools/machorun/shims.h"

// --- Errors

struct ErrorPair {
  int darwin, host;
};

// Those that differ; all others below 35 are the same.
static constexpr ErrorPair kErrors[] = {
    {11, EDEADLK},      {35, EAGAIN},        {36, EINPROGRESS},  {37, EALREADY},        {38, ENOTSOCK},
    {39, EDESTADDRREQ}, {40, EMSGSIZE},      {42, ENOPROTOOPT},  {43, EPROTONOSUPPORT}, {45, ENOTSUP},
    {48, EADDRINUSE},   {49, EADDRNOTAVAIL}, {50, ENETDOWN},     {51, ENETUNREACH},     {53, ECONNABORTED},
    {54, ECONNRESET},   {55, ENOBUFS},       {56, EISCONN},      {57, ENOTCONN},        {60, ETIMEDOUT},
    {61, ECONNREFUSED}, {62, ELOOP},         {63, ENAMETOOLONG}, {64, EHOSTDOWN},       {65, EHOSTUNREACH},
    {66, ENOTEMPTY},    {68, EUSERS},        {69, EDQUOT},       {70, ESTALE},          {77, ENOLCK},
    {78, ENOSYS},       {84, EOVERFLOW},     {89, ECANCELED},    {90, EIDRM},           {91, ENOMSG},
    {92, EILSEQ},       {94, EBADMSG},       {100, EPROTO},      {101, ETIME},
};

int HostError(int darwin_error) {
  for (const ErrorPair& pair : kErrors) {
    if (pair.darwin == darwin_error) return pair.host;
  }
  return darwin_error;
}

int DarwinError(int host_error) {
  for (const ErrorPair& pair : kErrors) {
    if (pair.host == host_error) return pair.darwin;
  }
  return host_error;
}

// A program reads `errno` through this function. The host's holds a mark in between, so that a host function that sets
// it is noticed, and what the program itself has written stays.
static constexpr int kMark = 0x4d61726b;
static thread_local int g_error = 0;

static int* Error() {
  if (errno != kMark) g_error = DarwinError(errno);
  errno = kMark;
  return &g_error;
}

static char* ErrorText(int error) { return strerror(HostError(error)); }

static int ErrorTextInto(int error, char* buffer, size_t bytes) {
  const int saved = errno;
  (void)snprintf(buffer, bytes, "%s", strerror(HostError(error)));
  errno = saved;
  return 0;
}

static void PrintError(const char* text) { (void)fprintf(stderr, "%s: %s\n", text, ErrorText(*Error())); }

// --- Character classes

static uint32_t ClassesOf(wint_t character, int (*is)(wint_t, wctype_t)) {
  static const struct {
    const char* name;
    uint32_t bit;
  } kClasses[] = {{"alpha", kDarwinAlpha}, {"cntrl", kDarwinControl}, {"digit", kDarwinDigit},
                  {"graph", kDarwinGraph}, {"lower", kDarwinLower},   {"punct", kDarwinPunct},
                  {"space", kDarwinSpace}, {"upper", kDarwinUpper},   {"xdigit", kDarwinHexDigit},
                  {"blank", kDarwinBlank}, {"print", kDarwinPrint}};
  uint32_t classes = 0;
  for (const auto& entry : kClasses) {
    if (is(character, wctype(entry.name)) != 0) classes |= entry.bit;
  }
  return classes;
}

static uint32_t AsciiClasses(int c) {
  uint32_t classes = 0;
  const auto add = [&](int is, uint32_t bit) { classes |= is != 0 ? bit : 0; };
  add(isalpha(c), kDarwinAlpha);
  add(iscntrl(c), kDarwinControl);
  add(isdigit(c), kDarwinDigit);
  add(isgraph(c), kDarwinGraph);
  add(islower(c), kDarwinLower);
  add(ispunct(c), kDarwinPunct);
  add(isspace(c), kDarwinSpace);
  add(isupper(c), kDarwinUpper);
  add(isxdigit(c), kDarwinHexDigit);
  add(isblank(c), kDarwinBlank);
  add(isprint(c), kDarwinPrint);
  return classes;
}

static DarwinRuneLocale MakeRuneLocale() {
  DarwinRuneLocale made = {};
  (void)snprintf(made.magic, sizeof(made.magic), "RuneMag");
  (void)snprintf(made.encoding, sizeof(made.encoding), "NONE");
  made.invalid_rune = 0xfffd;
  for (int c = 0; c < 256; ++c) {
    made.types[c] = c < 128 ? AsciiClasses(c) : 0;
    made.lower[c] = c < 128 ? tolower(c) : c;
    made.upper[c] = c < 128 ? toupper(c) : c;
  }
  return made;
}

static DarwinRuneLocale g_rune_locale = MakeRuneLocale();

static int MaskRune(int rune, unsigned long mask) {
  if (rune >= 0 && rune < 128) return static_cast<int>(g_rune_locale.types[rune] & mask);
  return static_cast<int>(ClassesOf(static_cast<wint_t>(rune), &iswctype) & mask);
}

// In a locale of single bytes characters are its bytes there, and not what Unicode has in their place.
static int ToLower(int rune) {
  return MB_CUR_MAX == 1 ? tolower(rune) : static_cast<int>(towlower(static_cast<wint_t>(rune)));
}
static int ToUpper(int rune) {
  return MB_CUR_MAX == 1 ? toupper(rune) : static_cast<int>(towupper(static_cast<wint_t>(rune)));
}

// --- Locales: null is the C locale there.

static locale_t g_c_locale = newlocale(LC_ALL_MASK, "C", nullptr);

static locale_t HostLocale(locale_t given) { return given == nullptr ? g_c_locale : given; }

static int HostCategory(int category) {
  switch (category) {
    case kDarwinCategoryCollate:
      return LC_COLLATE;
    case kDarwinCategoryCtype:
      return LC_CTYPE;
    case kDarwinCategoryMonetary:
      return LC_MONETARY;
    case kDarwinCategoryNumeric:
      return LC_NUMERIC;
    case kDarwinCategoryTime:
      return LC_TIME;
    case kDarwinCategoryMessages:
      return LC_MESSAGES;
    default:
      return LC_ALL;
  }
}

static char* SetLocale(int category, const char* name) { return setlocale(HostCategory(category), name); }

static locale_t NewLocale(int mask, const char* name, locale_t base) {
  static constexpr int kBits[] = {LC_COLLATE_MASK,  LC_CTYPE_MASK,   LC_MESSAGES_MASK,
                                  LC_MONETARY_MASK, LC_NUMERIC_MASK, LC_TIME_MASK};
  int host_mask = 0;
  for (unsigned bit = 0; bit < sizeof(kBits) / sizeof(kBits[0]); ++bit) {
    if ((mask >> bit & 1) != 0) host_mask |= kBits[bit];
  }
  // There the base is copied, here it would be changed; and it may be the global locale.
  const auto made_of = [&](const char* wanted) {
    return newlocale(host_mask, wanted, base == nullptr ? nullptr : duplocale(base));
  };
  // Every Mac has this one; a Linux machine may have it under its own name only.
  const bool is_utf8 = name != nullptr && strstr(name, "UTF-8") != nullptr;
  const locale_t made = made_of(name);
  return made != nullptr || !is_utf8 ? made : made_of("C.UTF-8");
}

static void FreeLocale(locale_t given) {
  if (given != nullptr) freelocale(given);
}

// Has `locale` in force on this thread while it exists.
class WithLocale {
 public:
  explicit WithLocale(locale_t locale) : previous(uselocale(HostLocale(locale))) {}
  ~WithLocale() { (void)uselocale(previous); }
  WithLocale(const WithLocale&) = delete;
  WithLocale& operator=(const WithLocale&) = delete;

 private:
  locale_t previous;
};

static int MostBytes(locale_t locale) {
  const WithLocale in_force(locale);
  return static_cast<int>(MB_CUR_MAX);
}

static int MaskRuneIn(int rune, unsigned long mask, locale_t locale) {
  const WithLocale in_force(locale);
  return MaskRune(rune, mask);
}

// The other system's conversion states are larger than the host's, which are used in their place.
static size_t MbrlenIn(const char* text, size_t bytes, mbstate_t* state, locale_t locale) {
  const WithLocale in_force(locale);
  return mbrlen(text, bytes, state);
}

static size_t MbrtowcIn(wchar_t* wide, const char* text, size_t bytes, mbstate_t* state, locale_t locale) {
  const WithLocale in_force(locale);
  return mbrtowc(wide, text, bytes, state);
}

static size_t MbsnrtowcsIn(wchar_t* wide, const char** text, size_t bytes, size_t room, mbstate_t* state,
                           locale_t locale) {
  const WithLocale in_force(locale);
  return mbsnrtowcs(wide, text, bytes, room, state);
}

static size_t MbsrtowcsIn(wchar_t* wide, const char** text, size_t room, mbstate_t* state, locale_t locale) {
  const WithLocale in_force(locale);
  return mbsrtowcs(wide, text, room, state);
}

static int MbtowcIn(wchar_t* wide, const char* text, size_t bytes, locale_t locale) {
  const WithLocale in_force(locale);
  return mbtowc(wide, text, bytes);
}

static size_t WcrtombIn(char* text, wchar_t wide, mbstate_t* state, locale_t locale) {
  const WithLocale in_force(locale);
  return wcrtomb(text, wide, state);
}

static size_t WcsnrtombsIn(char* text, const wchar_t** wide, size_t count, size_t room, mbstate_t* state,
                           locale_t locale) {
  const WithLocale in_force(locale);
  return wcsnrtombs(text, wide, count, room, state);
}

__attribute__((format(printf, 4, 5))) static int SnprintfIn(char* buffer, size_t bytes, locale_t locale,
                                                            const char* format, ...) {
  const WithLocale in_force(locale);
  va_list arguments;
  va_start(arguments, format);
  const int count = vsnprintf(buffer, bytes, format, arguments);
  va_end(arguments);
  return count;
}

__attribute__((format(printf, 3, 4))) static int AsprintfIn(char** text, locale_t locale, const char* format, ...) {
  const WithLocale in_force(locale);
  va_list arguments;
  va_start(arguments, format);
  const int count = vasprintf(text, format, arguments);
  va_end(arguments);
  return count;
}

__attribute__((format(scanf, 3, 4))) static int SscanfIn(const char* text, locale_t locale, const char* format, ...) {
  const WithLocale in_force(locale);
  va_list arguments;
  va_start(arguments, format);
  const int count = vsscanf(text, format, arguments);
  va_end(arguments);
  return count;
}

static double StrtodIn(const char* text, char** end, locale_t locale) {
  return strtod_l(text, end, HostLocale(locale));
}
static float StrtofIn(const char* text, char** end, locale_t locale) { return strtof_l(text, end, HostLocale(locale)); }
static long double StrtoldIn(const char* text, char** end, locale_t locale) {
  return strtold_l(text, end, HostLocale(locale));
}
static long long StrtollIn(const char* text, char** end, int base, locale_t locale) {
  return strtoll_l(text, end, base, HostLocale(locale));
}
static unsigned long long StrtoullIn(const char* text, char** end, int base, locale_t locale) {
  return strtoull_l(text, end, base, HostLocale(locale));
}
static size_t StrftimeIn(char* buffer, size_t bytes, const char* format, const struct tm* time, locale_t locale) {
  return strftime_l(buffer, bytes, format, time, HostLocale(locale));
}

// There a stream of wide characters goes through the locale, as one of bytes does: a character that the locale does not
// have is an error.
static int VfwprintfThroughLocale(FILE* stream, const wchar_t* format, va_list arguments) {
  wchar_t* text = nullptr;
  size_t length = 0;
  FILE* const plain = open_wmemstream(&text, &length);
  if (plain == nullptr) return -1;
  const int count = vfwprintf(plain, format, arguments);
  (void)fclose(plain);
  bool has_all = count >= 0;
  mbstate_t state = {};
  char bytes[MB_LEN_MAX];
  for (size_t i = 0; has_all && i < length; ++i) {
    // The C locale there has the characters up to U+00FF.
    const bool is_latin = text[i] >= 0 && text[i] <= 0xff && MB_CUR_MAX == 1;
    has_all = is_latin || wcrtomb(bytes, text[i], &state) != static_cast<size_t>(-1);
  }
  if (!has_all) errno = EILSEQ;
  for (size_t i = 0; has_all && i < length; ++i) has_all = fputwc(text[i], stream) != WEOF;
  free(text);
  return has_all ? count : -1;
}

// --- Regular expressions, as the test library uses them. The host's object is larger and lies behind the program's.

static int CompileRegex(DarwinRegex* regex, const char* pattern, int flags) {
  int host_flags = 0;
  if ((flags & kDarwinRegexExtended) != 0) host_flags |= REG_EXTENDED;
  if ((flags & kDarwinRegexIgnoreCase) != 0) host_flags |= REG_ICASE;
  if ((flags & kDarwinRegexNoGroups) != 0) host_flags |= REG_NOSUB;
  if ((flags & kDarwinRegexNewline) != 0) host_flags |= REG_NEWLINE;
  auto* const host = static_cast<regex_t*>(calloc(1, sizeof(regex_t)));
  if (host == nullptr) return REG_ESPACE;
  const int error = regcomp(host, pattern, host_flags);
  if (error != 0) {
    free(host);
    return error;
  }
  regex->compiled = host;
  regex->groups = host->re_nsub;
  return 0;
}

static int MatchRegex(const DarwinRegex* regex, const char* text, size_t count, DarwinRegexMatch* matches, int flags) {
  constexpr size_t kMostMatches = 32;
  regmatch_t host[kMostMatches];
  const size_t wanted = count < kMostMatches ? count : kMostMatches;
  const int error = regexec(static_cast<const regex_t*>(regex->compiled), text, wanted, host, flags);
  for (size_t i = 0; error == 0 && i < wanted; ++i) matches[i] = {host[i].rm_so, host[i].rm_eo};
  return error;
}

static void FreeRegex(DarwinRegex* regex) {
  regfree(static_cast<regex_t*>(regex->compiled));
  free(regex->compiled);
}

// --- Blocks

static void Zero(void* block, size_t bytes) { memset(block, 0, bytes); }

static void FillWithPattern(void* block, const void* pattern, size_t bytes) {
  constexpr size_t kPatternBytes = 16;
  for (size_t at = 0; at < bytes; at += kPatternBytes) {
    memcpy(static_cast<char*>(block) + at, pattern, bytes - at < kPatternBytes ? bytes - at : kPatternBytes);
  }
}

static void UuidText(const unsigned char* id, char* text) { uuid_unparse_upper(id, text); }

template <typename Function>
static void* Address(Function* function) {
  return reinterpret_cast<void*>(function);
}

const Shim* TextShims() {
  static const Shim shims[] = {
      {"___error", Address(&Error)},
      {"_strerror", Address(&ErrorText)},
      {"_strerror_r", Address(&ErrorTextInto)},
      {"_perror", Address(&PrintError)},
      {"__DefaultRuneLocale", &g_rune_locale},
      {"___maskrune", Address(&MaskRune)},
      {"___maskrune_l", Address(&MaskRuneIn)},
      {"___tolower", Address(&ToLower)},
      {"___toupper", Address(&ToUpper)},
      {"____mb_cur_max_l", Address(&MostBytes)},
      {"_setlocale", Address(&SetLocale)},
      {"_newlocale", Address(&NewLocale)},
      {"_freelocale", Address(&FreeLocale)},
      {"_uselocale", Address(&uselocale)},
      {"_mbrlen_l", Address(&MbrlenIn)},
      {"_mbrtowc_l", Address(&MbrtowcIn)},
      {"_mbsnrtowcs_l", Address(&MbsnrtowcsIn)},
      {"_mbsrtowcs_l", Address(&MbsrtowcsIn)},
      {"_mbtowc_l", Address(&MbtowcIn)},
      {"_wcrtomb_l", Address(&WcrtombIn)},
      {"_wcsnrtombs_l", Address(&WcsnrtombsIn)},
      {"_snprintf_l", Address(&SnprintfIn)},
      {"_asprintf_l", Address(&AsprintfIn)},
      {"_sscanf_l", Address(&SscanfIn)},
      {"_strtod_l", Address(&StrtodIn)},
      {"_strtof_l", Address(&StrtofIn)},
      {"_strtold_l", Address(&StrtoldIn)},
      {"_strtoll_l", Address(&StrtollIn)},
      {"_strtoull_l", Address(&StrtoullIn)},
      {"_strftime_l", Address(&StrftimeIn)},
      {"_open_wmemstream", Address(&open_wmemstream)},
      {"_vfwprintf", Address(&VfwprintfThroughLocale)},
      {"_regcomp", Address(&CompileRegex)},
      {"_regexec", Address(&MatchRegex)},
      {"_regfree", Address(&FreeRegex)},
      {"___bzero", Address(&Zero)},
      {"_bzero", Address(&Zero)},
      {"_memset_pattern16", Address(&FillWithPattern)},
      {"_uuid_generate_random", Address(&uuid_generate_random)},
      {"_uuid_unparse", Address(&UuidText)},
      {"___stderrp", &stderr},
      {"___stdinp", &stdin},
      {"___stdoutp", &stdout},
      {nullptr, nullptr},
  };
  return shims;
}
