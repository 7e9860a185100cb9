#include "launcherctl/completion.h"

#include <algorithm>
#include <set>

#include "launcherctl/escape.h"
#include "launcherctl/launchers.h"

static std::string OptionNames(const CompletedVerb& verb) {
  std::string names;
  for (const std::string& option : verb.options) names += (names.empty() ? "" : " ") + option;
  return names;
}

static std::string ForBash(const std::vector<CompletedVerb>& verbs) {
  std::string names;
  std::string cases;
  for (const CompletedVerb& verb : verbs) {
    names += (names.empty() ? "" : " ") + verb.name;
    cases += "    " + verb.name + ")\n      options='" + OptionNames(verb) + "'\n";
    if (verb.takes == CompletedVerb::Takes::kFiles) cases += "      takes=files\n";
    if (verb.takes == CompletedVerb::Takes::kItems) cases += "      takes=items\n";
    cases += "      ;;\n";
  }
  return R"sh(# Completion of launcherctl for bash; made by `launcherctl completion bash`.
_launcherctl_offer() {
  local line
  while IFS= read -r line; do COMPREPLY+=("$line"); done
}
_launcherctl() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} verb='' options='' takes='' name i
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; ++i)); do
    case ${COMP_WORDS[i]} in -*) ;; *) verb=${COMP_WORDS[i]}; break ;; esac
  done
  case $verb in
    '')
      _launcherctl_offer < <(compgen -W ')sh" +
         names + R"sh( --help --version' -- "$word")
      return
      ;;
)sh" + cases +
         R"sh(  esac
  case $previous in
    --list | --log | --svg | --html)
      _launcherctl_offer < <(compgen -f -- "$word")
      return
      ;;
    --pid | --name | --timeout | --since) return ;;
  esac
  case $word in
    -*) _launcherctl_offer < <(compgen -W "$options" -- "$word") ;;
    *)
      if [[ $takes == files ]]; then
        _launcherctl_offer < <(compgen -f -- "$word")
      elif [[ $takes == items ]]; then
        while IFS= read -r name; do
          [[ $name == "$word"* ]] && COMPREPLY+=("$(printf %q "$name")")
        done < <("${COMP_WORDS[0]}" completion items 2>/dev/null)
      fi
      ;;
  esac
}
complete -o filenames -o bashdefault -F _launcherctl launcherctl
)sh";
}

// For zsh's lists of the form 'word:description'.
static std::string Described(const std::string& word, const std::string& description) {
  std::string text = "'" + word + ":";
  for (const char c : description) {
    if (c == '\'') {
      text += "'\\''";
    } else if (c == ':') {
      text += "\\:";
    } else {
      text += c;
    }
  }
  return text + "'";
}

static std::string ForZsh(const std::vector<CompletedVerb>& verbs) {
  std::string described;
  std::string cases;
  for (const CompletedVerb& verb : verbs) {
    described += "    " + Described(verb.name, verb.summary) + "\n";
    cases += "    " + verb.name + ")\n      options=(" + OptionNames(verb) + ")\n";
    if (verb.takes == CompletedVerb::Takes::kFiles) cases += "      takes=files\n";
    if (verb.takes == CompletedVerb::Takes::kItems) cases += "      takes=items\n";
    cases += "      ;;\n";
  }
  return R"sh(#compdef launcherctl
# Completion of launcherctl for zsh; made by `launcherctl completion zsh`.
_launcherctl() {
  local verb='' takes='' word
  local -a options verbs names
  verbs=(
)sh" + described +
         R"sh(  )
  for word in ${words[2,CURRENT-1]}; do
    [[ $word == -* ]] || { verb=$word; break; }
  done
  if [[ -z $verb ]]; then
    _describe verb verbs
    return
  fi
  case $verb in
)sh" + cases +
         R"sh(  esac
  case ${words[CURRENT-1]} in
    --list | --log | --svg | --html) _files; return ;;
    --pid | --name | --timeout | --since) return ;;
  esac
  if [[ ${words[CURRENT]} == -* ]]; then
    compadd -- $options
  elif [[ $takes == files ]]; then
    _files
  elif [[ $takes == items ]]; then
    names=("${(@f)$(${words[1]} completion items 2>/dev/null)}")
    compadd -- $names
  fi
}
_launcherctl "$@"
)sh";
}

std::string CompletionFor(const std::string& shell, const std::vector<CompletedVerb>& verbs) {
  if (shell == "bash") return ForBash(verbs);
  if (shell == "zsh") return ForZsh(verbs);
  return "";
}

std::vector<std::string> NamesToComplete() {
  std::set<std::string> names;
  WhichLaunchers all;
  all.with_findings = false;
  for (const RunningLauncher& launcher : Observe(all).launchers) {
    for (const ItemKnowledge& item : launcher.known.items) {
      const bool is_plain = !item.name.empty() && ShownText(item.name) == item.name &&
                            item.name.find_first_of("'\"\\`$") == std::string::npos && item.name.front() != ' ' &&
                            item.name.back() != ' ';
      if (item.has_name && is_plain) names.insert(item.name);
    }
  }
  return {names.begin(), names.end()};
}
