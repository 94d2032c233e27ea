// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <chrono>
#include <ostream>
#include <string>
#include <thread>

#include "host/cli/Hooks.h"
#include "host/cli/Output.h"
#include "host/render/core/PlainText.h"
#include "platform/ExternalFailure.h"

namespace orvspc::cli {

namespace {

constexpr Option kFollow{"follow", nullptr, "go on until it is stopped, which it may be any time"};
constexpr Option kAgain{"again", nullptr, "also try what was given up"};

// How often somebody who follows looks for what is new.
constexpr std::chrono::seconds kLook{1};

// Whether everybody has been told.
bool Show(const std::vector<HookReport>& reports, Console& console) {
  bool is_told = true;
  for (const auto& report : reports) {
    if (report.delivered > 0) {
      console.out << render::PlainText(report.hook + ": " + std::to_string(report.delivered) +
                                       " delivered")
                  << "\n";
    }
    if (report.waiting == 0 && report.dead == 0) continue;
    console.err << render::PlainText("orvspc deliver: " + OpenText(report)) << "\n";
    is_told = is_told && report.waiting == 0 && report.failed == 0;
  }
  console.out.flush();
  console.err.flush();
  return is_told;
}

// A database that cannot be used for a while does not end it.
[[noreturn]] void Follow(QualityDatabase& database, const std::vector<Hook>& hooks,
                         Console& console) {
  for (std::string complaint;;) {
    std::this_thread::sleep_for(kLook);
    try {
      auto reports = database.Deliver(hooks);
      std::erase_if(reports, [](const HookReport& report) {
        return report.delivered == 0 && report.failed == 0;
      });
      Show(reports, console);
      complaint.clear();
    } catch (const platform::ExternalFailure& failure) {
      if (complaint == failure.Description()) continue;
      complaint = failure.Description();
      console.err << render::PlainText("orvspc deliver: " + complaint) << "\n" << std::flush;
    }
  }
}

int RunDeliverCommand(const Arguments& arguments, Console& console) {
  const auto path = arguments.Required(kDatabase);
  const auto hooks = HooksOf(arguments);
  if (hooks.empty()) {
    throw Refusal("there are no hooks; write /etc/orvspc/hooks.conf, or name a file (--hooks)");
  }
  auto database = QualityDatabase::Open(path);
  DeliveryOptions options;
  options.again = arguments.Has(kAgain);
  const bool is_told = Show(database.Deliver(hooks, options), console);
  if (arguments.Has(kFollow)) Follow(database, hooks, console);
  return is_told ? 0 : 1;
}

}  // namespace

Command DeliverCommand() {
  return {
      "deliver",
      "--db FILE [--hooks FILE] [--follow]",
      "Tells hooks, which are commands and webhooks, what became of alarms",
      "Commands that store values tell hooks themselves, for 2 s; this tells them what is "
      "left. A message that fails is tried again after 10 s, 1, 5 and 30 min, then hourly for "
      "3 days; then it is given up. Each arrives at least once, with the same id at every try.\n"
      "Without --follow it tries what is due and ends, with status 1 where a message still "
      "waits. See also docs/how-to/alarms.md.",
      "orvspc deliver --db q.db --follow",
      {kDatabase, kHooks, kFollow, kAgain},
      RunDeliverCommand};
}

}  // namespace orvspc::cli
