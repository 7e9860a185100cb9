#include "common/strings/format_locale.h"

#include <locale.h>
#include <xlocale.h>

// Here a stream in memory sends every character through the thread's locale, and the "C" locale, in which programs run,
// knows none above 0xFF.
std::shared_ptr<void> EnterFormatLocale() {
  // Takes over what else the thread's locale says, the decimal point for instance, and leaves that locale alone.
  const locale_t utf8 = newlocale(LC_CTYPE_MASK, "en_US.UTF-8", uselocale(nullptr));
  if (utf8 == nullptr) return nullptr;  // Then what the current locale knows has to do.
  const locale_t before = uselocale(utf8);
  return {utf8, [before](void* entered) {
            (void)uselocale(before);
            (void)freelocale(static_cast<locale_t>(entered));
          }};
}
