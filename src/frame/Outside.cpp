// SPDX-License-Identifier: Apache-2.0
#include "frame/Outside.h"

#include <algorithm>
#include <cstddef>

#include "frame/Friend.h"
#include "platform/FixedText.h"

namespace orvspc {
namespace {

struct Helpers {
  // Weak, so that a thread that has ended its work keeps no platform alive.
  std::weak_ptr<platform::Platform> owner;
  std::shared_ptr<platform::TimeConversion> time;
  std::shared_ptr<platform::TextTrimmer> trimmer;
};

Helpers& OfThread() {
  thread_local Helpers helpers;
  return helpers;
}

template <class T>
T& Helper(std::shared_ptr<T> Helpers::*kept, std::shared_ptr<T> (platform::Platform::*make)()) {
  Helpers& helpers = OfThread();
  const auto platform = PlatformInForce();
  if (helpers.owner.lock() != platform) helpers = {platform, nullptr, nullptr};
  if (!(helpers.*kept)) helpers.*kept = ((*platform).*make)();
  return Needed(helpers.*kept);
}

platform::TimeConversion& Time() {
  return Helper(&Helpers::time, &platform::Platform::MakeTimeConversion);
}

}  // namespace

std::shared_ptr<platform::Platform> PlatformInForce() {
  auto platform = platform::Current();
  if (!platform) FailMessage("No platform is installed");
  return platform;
}

std::int32_t DateToTimeStamp(double date) { return Time().DateToTimeStamp(date); }

double TimeStampToDate(std::int32_t stamp) { return Time().TimeStampToDate(stamp); }

void TrimFixedString(std::u16string& text) {
  Helper(&Helpers::trimmer, &platform::Platform::MakeTextTrimmer).TrimFixedString(text);
}

std::string TrimFixedField(std::span<char16_t> field) {
  std::u16string text(field.begin(), field.end());
  TrimFixedString(text);
  const std::size_t kept = std::min(text.size(), field.size());
  std::copy_n(text.begin(), kept, field.begin());
  std::fill(field.begin() + static_cast<std::ptrdiff_t>(kept), field.end(), u' ');
  return platform::ToUtf8(text);
}

std::shared_ptr<platform::Database> ResolveDatabase(
    const std::shared_ptr<platform::Object>& Database) {
  return Traced("Support.ResolveDatabase", [&] {
    if (!Database) FailMissingObject();
    auto database = std::dynamic_pointer_cast<platform::Database>(Database);
    if (!database) FailTypeMismatch();
    database->Confirm(Friend{});
    return database;
  });
}

std::shared_ptr<platform::RuleDef> ResolveRuleDef(
    const std::shared_ptr<platform::Object>& Database) {
  return Traced("Support.ResolveRuleDef", [&] {
    auto rules = PlatformInForce()->MakeRuleDef();
    Needed(rules).FirstSetting(100);
    rules->SecondSetting(256);
    rules->Read(ResolveDatabase(Database), 0);
    return rules;
  });
}

bool NameResolver::operator()(const std::shared_ptr<platform::Database>& Database, std::int32_t ID,
                              platform::NameRecord& Cache) const {
  if (ID == 0) return false;
  for (bool found = Cache.MoveFirst(); found; found = Cache.MoveNext())
    if (Cache.ID() == ID) return true;
  const auto record = PlatformInForce()->MakeNameRecord(kind);
  Needed(record).ID(ID);
  record->KeyMode(1);
  // Deliberate: an identifier without a record is not remembered; the next call reads again.
  if (!record->Read(Database, 0)) return false;
  Cache.Add(*record);
  return true;
}

std::shared_ptr<platform::ErrorLog> LogConstructorFailure(std::string_view class_name) noexcept {
  std::shared_ptr<platform::ErrorLog> log;
  try {
    const Failure failure = CurrentFailure();
    const auto platform = PlatformInForce();
    log = platform->MakeErrorLog("orvError6.Error");
    if (log)
      log->Log(ConstructorName(class_name), failure.Number(), failure.Description(),
               failure.Source(), platform->Identity());
  } catch (...) {  // NOLINT: nothing may leave, and there is nowhere left to report to
  }
  return log;
}

}  // namespace orvspc
