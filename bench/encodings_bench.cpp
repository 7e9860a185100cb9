// UTF-8, Base64 and percent-encoding.
#include <curl/curl.h>
#include <iconv.h>
#include <openssl/evp.h>

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>

#include "bench/compare.h"
#include "bench/texts.h"
#include "common/strings/base64.h"
#include "common/strings/url.h"
#include "common/strings/utf8.h"

// Converts with a descriptor that is opened once. `To` has room for what `From` can become at most.
template <typename To, typename From>
static To Iconv(iconv_t descriptor, const From& text, size_t most_characters) {
  To result(most_characters, 0);
  char* in = const_cast<char*>(reinterpret_cast<const char*>(text.data()));
  char* out = reinterpret_cast<char*>(result.data());
  size_t in_bytes = text.size() * sizeof(text[0]);
  size_t out_bytes = result.size() * sizeof(result[0]);
  const size_t room = out_bytes;
  if (iconv(descriptor, &in, &in_bytes, &out, &out_bytes) == static_cast<size_t>(-1)) throw std::runtime_error("iconv");
  result.resize((room - out_bytes) / sizeof(result[0]));
  return result;
}

static std::wstring IconvToWide(const std::string& text) {
  static const iconv_t descriptor = iconv_open("WCHAR_T", "UTF-8");
  return Iconv<std::wstring>(descriptor, text, text.size());
}

static std::string IconvToUtf8(const std::wstring& text) {
  static const iconv_t descriptor = iconv_open("UTF-8", "WCHAR_T");
  return Iconv<std::string>(descriptor, text, text.size() * 4);
}

static const std::string& AsciiPath() {
  static const std::string path = "/Users/sample/Library/Application Support/File 1.txt";
  return path;
}

static const std::string& AsciiText() {
  static const std::string text = RandomText(4096, "abcdefgh ", 1);
  return text;
}

static const std::string& GermanText() {
  static const std::string text = Repeated(200,
                                           "Pr\xC3\xBC"
                                           "fe das Schlo\xC3\x9F ");
  return text;
}

static const std::string& MixedText() {
  static const std::string text = Repeated(100, "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80 \xE6\xBC\xA2\xE5\xAD\x97, abc");
  return text;
}

template <const std::string& (*Text)()>
static const std::wstring& Wide() {
  static const std::wstring wide = s2ws(Text());
  return wide;
}

static const Comparison kS2wsPath(
    "s2ws", "path of 52 bytes", [] { return s2ws(AsciiPath()); }, "iconv", [] { return IconvToWide(AsciiPath()); });
static const Comparison kS2wsAscii(
    "s2ws", "ASCII, 4 KB", [] { return s2ws(AsciiText()); }, "iconv", [] { return IconvToWide(AsciiText()); });
static const Comparison kS2wsGerman(
    "s2ws", "German, 4 KB", [] { return s2ws(GermanText()); }, "iconv", [] { return IconvToWide(GermanText()); });
static const Comparison kS2wsMixed(
    "s2ws", "all lengths, 2 KB", [] { return s2ws(MixedText()); }, "iconv", [] { return IconvToWide(MixedText()); });

static const Comparison kWs2sPath(
    "ws2s", "path of 52 characters", [] { return ws2s(Wide<AsciiPath>()); }, "iconv",
    [] { return IconvToUtf8(Wide<AsciiPath>()); });
static const Comparison kWs2sAscii(
    "ws2s", "ASCII, 4 KB", [] { return ws2s(Wide<AsciiText>()); }, "iconv",
    [] { return IconvToUtf8(Wide<AsciiText>()); });
static const Comparison kWs2sGerman(
    "ws2s", "German, 4 KB", [] { return ws2s(Wide<GermanText>()); }, "iconv",
    [] { return IconvToUtf8(Wide<GermanText>()); });
static const Comparison kWs2sMixed(
    "ws2s", "all lengths, 2 KB", [] { return ws2s(Wide<MixedText>()); }, "iconv",
    [] { return IconvToUtf8(Wide<MixedText>()); });

// The two differ in the last group's spare bits. The peer's text is allocated too.
template <size_t kBytes>
static const std::string& Bytes() {
  static const std::string bytes = RandomText(kBytes,
                                              std::string("\0\1\x7F\x80\xFF"
                                                          "abc",
                                                          8),
                                              3);
  return bytes;
}

static const unsigned char* Unsigned(const std::string& bytes) {
  return reinterpret_cast<const unsigned char*>(bytes.data());
}

static char* Base64(const std::string& bytes) { return base64(Unsigned(bytes), bytes.size()); }

static std::unique_ptr<unsigned char[]> OpensslBase64(const std::string& bytes) {
  std::unique_ptr<unsigned char[]> text(new unsigned char[bytes.size() / 3 * 4 + 5]);
  EVP_EncodeBlock(text.get(), Unsigned(bytes), static_cast<int>(bytes.size()));
  return text;
}

static const Comparison kBase64Short(
    "base64", "16 bytes", [] { return Base64(Bytes<16>()); }, "EVP_EncodeBlock",
    [] { return OpensslBase64(Bytes<16>()); });
static const Comparison kBase64(
    "base64", "1 KB", [] { return Base64(Bytes<1024>()); }, "EVP_EncodeBlock",
    [] { return OpensslBase64(Bytes<1024>()); });
static const Comparison kBase64Long(
    "base64", "1 MB", [] { return Base64(Bytes<1000000>()); }, "EVP_EncodeBlock",
    [] { return OpensslBase64(Bytes<1000000>()); });

static std::unique_ptr<char, void (*)(void*)> CurlEscape(const std::string& text) {
  static CURL* const handle = curl_easy_init();
  return {curl_easy_escape(handle, text.c_str(), static_cast<int>(text.size())), &curl_free};
}

static const Comparison kUrlPath(
    "URLEncode", "path of 52 bytes", [] { return URLEncode(AsciiPath().c_str(), true); }, "curl_easy_escape",
    [] { return CurlEscape(AsciiPath()); });
static const Comparison kUrlMixed(
    "URLEncode", "all lengths, 2 KB", [] { return URLEncode(MixedText().c_str(), true); }, "curl_easy_escape",
    [] { return CurlEscape(MixedText()); });
