// SPDX-License-Identifier: Apache-2.0
#include "engine/hooks/HookFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <sstream>

#include "engine/hooks/Sending.h"
#include "platform/Actor.h"
#include "system/system.h"

namespace orvspc::engine::hooks {
namespace {

constexpr std::string_view kWords[] = {kAlarmWord,       "alarm opened",      "alarm acknowledged",
                                       "alarm closed",   "alarm reopened",    "alarm withdrawn",
                                       "samples missed", "samples withdrawn", kLogHeadWord};
constexpr std::string_view kKeys[] = {"on",       "part", "process",     "test",   "command",
                                      "argument", "url",  "secret-file", "ca-file"};
constexpr std::size_t kMaxName = 64, kMaxSecret = 4096;

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  const auto first = text.find_first_not_of(kBlanks);
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

template <class Words>
std::string Listed(const Words& words) {
  std::string text;
  for (const auto& word : words) text += (text.empty() ? "" : ", ") + std::string(word);
  return text;
}

bool HasControls(std::string_view text) {
  constexpr unsigned char kBlank = 0x20, kDelete = 0x7f;
  return std::ranges::any_of(text, [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < kBlank || byte == kDelete;
  });
}

bool IsPlain(const std::string& path) {
  const auto state = system::StateOf(path);
  return state && state->kind == system::FileKind::Plain;
}

std::string ReadText(const std::string& path) {
  std::ifstream in(system::PathOf(path), std::ios::binary);
  using Bytes = std::istreambuf_iterator<char>;
  return {Bytes(in), Bytes()};
}

// Reads one file, line by line.
class Reader {
 public:
  explicit Reader(std::string file) : file_(std::move(file)) {}

  std::vector<Hook> Read() {
    if (!IsPlain(file_)) Refuse(file_ + ": there is no such file");
    if (system::OthersMayWrite(file_)) {
      Refuse(file_ + ": others may write to it, and it says what is run; chmod go-w, or chown");
    }
    if (!system::MayRead(file_)) Refuse(file_ + ": " + std::strerror(errno));
    std::istringstream lines(ReadText(file_));
    for (std::string line; std::getline(lines, line);) {
      ++line_;
      Take(Trimmed(line));
    }
    End();
    return std::move(hooks_);
  }

 private:
  [[noreturn]] static void Refuse(const std::string& text) {
    throw Refused("hooks", "hooks", "", text);
  }
  [[noreturn]] void RefuseLine(const std::string& reason, std::optional<int> line = {}) const {
    Refuse(file_ + " line " + std::to_string(line.value_or(line_)) + ": " + reason);
  }

  void Take(std::string_view line) {
    if (line.empty() || line.front() == '#' || line.front() == ';') return;
    if (HasControls(line)) RefuseLine("has a control character");
    if (line.front() == '[') return Begin(line);
    const auto sign = line.find('=');
    if (sign == line.npos) RefuseLine(Quoted(line) + " is neither [NAME] nor KEY = VALUE");
    const auto key = Trimmed(line.substr(0, sign));
    const auto value = Trimmed(line.substr(sign + 1));
    if (std::ranges::find(kKeys, key) == std::end(kKeys)) {
      RefuseLine("there is no key " + Quoted(key) + ", only " + Listed(kKeys));
    }
    if (hooks_.empty()) RefuseLine(std::string(key) + " comes before the first [NAME]");
    if (value.empty()) RefuseLine(std::string(key) + " has no value");
    Set(key, std::string(value));
  }

  void Begin(std::string_view line) {
    End();
    const auto name = Trimmed(line.substr(1, line.size() - 2));
    if (line.back() != ']' || name.empty() || name.find_first_of("[]") != name.npos) {
      RefuseLine(Quoted(line) + " is no [NAME]");
    }
    if (name.size() > kMaxName) {
      RefuseLine("a hook's name has at most " + std::to_string(kMaxName) + " bytes");
    }
    for (const auto& each : hooks_) {
      if (each.name == name) RefuseLine("there is a hook " + Quoted(name) + " already");
    }
    hooks_.emplace_back().name = name;
    begin_ = line_;
    given_.clear();
  }

  // Of the hook that was begun last.
  void End() const {
    if (hooks_.empty()) return;
    const auto& hook = hooks_.back();
    const auto refuse = [&](const std::string& reason) {
      RefuseLine("hook " + Quoted(hook.name) + " " + reason, begin_);
    };
    if (hook.command.empty() && hook.url.empty()) refuse("has neither command nor url");
    if (!hook.command.empty() && !hook.url.empty()) refuse("has both command and url");
    if (hook.command.empty() && !hook.arguments.empty()) refuse("has argument without command");
    for (const auto* const key : {"secret-file", "ca-file"}) {
      if (hook.url.empty() && given_.contains(key))
        refuse(std::string("has ") + key + " without url");
    }
  }

  void Set(std::string_view key, std::string value) {
    auto& hook = hooks_.back();
    const std::pair<std::string_view, std::vector<std::string>*> lists[] = {
        {"part", &hook.parts},
        {"process", &hook.processes},
        {"test", &hook.tests},
        {"argument", &hook.arguments}};
    for (const auto& [word, list] : lists) {
      if (word == key) return list->push_back(std::move(value));
    }
    if (key == "on") return SetOn(hook, value);
    if (!given_.insert(std::string(key)).second) RefuseLine(std::string(key) + " is given twice");
    if (key == "command") {
      CheckCommand(value);
      hook.command = std::move(value);
    } else if (key == "url") {
      CheckUrl(value);
      hook.url = std::move(value);
    } else if (key == "secret-file") {
      hook.secret = SecretOf(value);
    } else {
      if (!IsPlain(value) || !system::MayRead(value)) RefuseLine(value + " cannot be read");
      hook.ca_file = std::move(value);
    }
  }

  // Words with commas between them.
  void SetOn(Hook& hook, const std::string& value) const {
    std::istringstream words(value);
    for (std::string each; std::getline(words, each, ',');) {
      const auto word = Trimmed(each);
      if (std::ranges::find(kWords, word) == std::end(kWords)) {
        RefuseLine("on takes " + Listed(kWords) + ", not " + Quoted(word));
      }
      hook.on.emplace_back(word);
    }
  }

  void CheckCommand(const std::string& path) const {
    if (!system::kRunsPrograms) RefuseLine("this program runs no commands on Windows");
    if (path.front() != '/') {
      RefuseLine("command takes a whole path, such as /usr/local/bin/tell, not " + Quoted(path));
    }
    if (!IsPlain(path)) RefuseLine("there is no program " + path);
    if (!system::MayRun(path)) RefuseLine(path + " may not be run; chmod +x helps");
  }

  void CheckUrl(const std::string& url) const {
    const auto scheme = url.find("://");
    const auto word = url.substr(0, scheme);
    if (scheme == url.npos || (word != "http" && word != "https") ||
        url.find_first_of("/?#", scheme + 3) == scheme + 3 || url.size() == scheme + 3 ||
        url.find(' ') != url.npos) {
      RefuseLine("url takes https://... or http://..., not " + Quoted(url));
    }
    if (!CanPost()) RefuseLine("this program was built without libcurl");
  }

  // Without the end of its line.
  std::string SecretOf(const std::string& path) const {
    if (!IsPlain(path) || !system::MayRead(path)) RefuseLine(path + " cannot be read");
    if (system::OthersMayRead(path)) {
      RefuseLine(path + " may be read by everybody; chmod o-r helps");
    }
    auto text = ReadText(path);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    if (text.empty()) RefuseLine(path + " is empty");
    if (text.size() > kMaxSecret) {
      RefuseLine(path + " has more than " + std::to_string(kMaxSecret) + " bytes");
    }
    return text;
  }

  std::string file_;
  int line_ = 0, begin_ = 0;
  std::set<std::string, std::less<>> given_;  // keys of the hook that was begun last
  std::vector<Hook> hooks_;
};

// An empty name is any: a sampling requirement may leave out the part.
bool Fits(const std::vector<std::string>& names, const std::string& name) {
  return names.empty() || name.empty() || std::ranges::find(names, name) != names.end();
}

}  // namespace

std::vector<Hook> ReadHookFile(const std::string& file) { return Reader(file).Read(); }

bool Wants(const Hook& hook, const Subject& subject) {
  const bool is_alarm = subject.what.starts_with("alarm ");
  const auto fits = [&](const std::string& word) {
    return word == subject.what || (is_alarm && word == kAlarmWord);
  };
  if (hook.on.empty() ? !is_alarm : std::ranges::none_of(hook.on, fits)) return false;
  // The head of the log is of no stream.
  return subject.what == kLogHeadWord ||
         (Fits(hook.parts, subject.part) && Fits(hook.processes, subject.process) &&
          Fits(hook.tests, subject.test));
}

}  // namespace orvspc::engine::hooks
