// Objects with constructors exist before main, get main's arguments where they ask for them, and are destroyed at exit.
#include <string>
#include <vector>

#include "tests/tools/machorun/fixture.h"

static std::vector<std::string>& Events() {
  static std::vector<std::string> events;
  return events;
}

struct Noted {
  explicit Noted(const char* given_name) : name(given_name) { Events().push_back(name); }
  ~Noted() {
    // The last one leaves with 0, which says that all were destroyed, in the reverse order.
    Events().push_back("~" + name);
    if (name == "first") _Exit(Events().back() == "~first" && Events()[Events().size() - 2] == "~second" ? 0 : 1);
  }
  std::string name;
};

static Noted g_first("first");
static Noted g_second("second");

int main() {
  EXPECT(Events() == (std::vector<std::string>{"first", "second"}));
  return 1;
}
