// SPDX-License-Identifier: Apache-2.0
#include "host/cli/Hooks.h"

#include <algorithm>
#include <cstdlib>
#include <ostream>

#include "host/render/core/PlainText.h"
#include "platform/ExternalFailure.h"
#include "system/system.h"

namespace orvspc::cli {

namespace {

constexpr std::chrono::seconds kTellLimit{2}, kPauseAfterFailure{10};

std::string Variable(const char* name) {
  const auto* const text = std::getenv(name);
  return text == nullptr ? "" : text;
}

}  // namespace

std::vector<std::string> HookFiles(const Arguments& arguments) {
  if (const auto file = arguments.Value(kHooks)) return {*file};
  if (std::getenv("ORVSPC_HOOKS") != nullptr) {
    const auto file = Variable("ORVSPC_HOOKS");
    return file.empty() ? std::vector<std::string>() : std::vector{file};
  }
  auto folder = Variable("XDG_CONFIG_HOME");
  if (folder.empty() && !Variable("HOME").empty()) folder = Variable("HOME") + "/.config";
  std::vector<std::string> files{"/etc/orvspc/hooks.conf"};
  if (!folder.empty()) files.push_back(folder + "/orvspc/hooks.conf");
  std::erase_if(files, [](const std::string& file) { return !system::IsThere(file); });
  return files;
}

std::vector<Hook> HooksOf(const Arguments& arguments) {
  std::vector<Hook> hooks;
  for (const auto& file : HookFiles(arguments)) {
    for (auto& hook : ReadHooks(file)) {
      const auto found = std::ranges::find(hooks, hook.name, &Hook::name);
      if (found == hooks.end()) {
        hooks.push_back(std::move(hook));
      } else {
        *found = std::move(hook);
      }
    }
  }
  return hooks;
}

std::string OpenText(const HookReport& report) {
  auto text = report.hook + ": ";
  if (report.waiting > 0) text += std::to_string(report.waiting) + " waiting";
  if (report.waiting > 0 && report.dead > 0) text += ", ";
  if (report.dead > 0) text += std::to_string(report.dead) + " given up";
  return report.error.empty() ? text : text + ", last error: " + report.error;
}

Teller::Teller(const Arguments& arguments, Console& console) : console_(console) {
  try {
    hooks_ = HooksOf(arguments);
  } catch (const platform::ExternalFailure& failure) {
    Complain(failure.Description() + "; nobody was told");
  }
}

template <class Opening>
void Teller::TellOf(const Opening& open) {
  if (hooks_.empty() || (failed_ && Clock::now() - *failed_ < kPauseAfterFailure)) return;
  try {
    DeliveryOptions options;
    options.at_most = kTellLimit;
    for (const auto& report : open().Deliver(hooks_, options)) {
      if (report.failed == 0) continue;
      failed_ = Clock::now();
      Complain(OpenText(report) + "; \"orvspc deliver\" tries again");
    }
  } catch (const platform::ExternalFailure& failure) {
    failed_ = Clock::now();
    Complain(failure.Description() + "; \"orvspc deliver\" tells hooks");
  }
}

void Teller::Tell(QualityDatabase& database) {
  TellOf([&]() -> QualityDatabase& { return database; });
}

void Teller::Tell(const std::string& path) {
  TellOf([&] { return QualityDatabase::Open(path); });
}

void Teller::Complain(const std::string& text) {
  if (text == complaint_) return;
  complaint_ = text;
  console_.err << render::PlainText("note: deliver: " + text) << "\n" << std::flush;
}

}  // namespace orvspc::cli
