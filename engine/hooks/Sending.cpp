// SPDX-License-Identifier: Apache-2.0
#include "engine/hooks/Sending.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <exception>

#include "system/Sha256.h"
#include "system/system.h"

namespace orvspc::engine::hooks {
namespace {

std::atomic<Poster> used_poster{nullptr};

Answer Run(const Hook& hook, const Message& message, std::chrono::milliseconds at_most) {
  using How = system::ProgramEnd::How;
  const auto end = system::RunProgram(hook.command, hook.arguments, message.text + "\n", at_most);
  const auto number = std::to_string(end.number);
  switch (end.how) {
    case How::Ended:
      return {end.number == 0 ? "" : "the command ended with status " + number};
    case How::Stopped:
      return {"the command was ended by signal " + number};
    case How::TooLate:
      return {"the command took longer than " + std::to_string(at_most.count()) + " ms", false};
    case How::NotStarted:
      break;
  }
  return {hook.command + ": " + std::strerror(end.number), false};
}

}  // namespace

Answer Send(const Hook& hook, const Message& message, std::chrono::milliseconds at_most) {
  try {
    if (!hook.command.empty()) {
      return Run(hook, message, std::min<std::chrono::milliseconds>(at_most, kCommandLimit));
    }
    const auto poster = used_poster.load();
    if (poster == nullptr) return {"this program was built without libcurl", false};
    return poster(hook, message, std::min<std::chrono::milliseconds>(at_most, kWebLimit));
  } catch (const std::exception& failure) {
    return {failure.what(), false};
  }
}

void UsePoster(Poster poster) { used_poster = poster; }
bool CanPost() { return used_poster.load() != nullptr; }

std::string SignatureOf(const std::string& secret, std::int64_t time, const std::string& text) {
  const auto stamp = std::to_string(time);
  return "t=" + stamp + ",sha256=" + system::HexOf(system::HmacSha256(secret, stamp + "." + text));
}

}  // namespace orvspc::engine::hooks
