// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "platform/Hook.h"

// How one message goes to one hook.
namespace orvspc::engine::hooks {

struct Message {
  std::string id;    // UUID:EVENT:REVISION, the same at every try
  std::string text;  // JSON
};

enum class Reach {
  Answered,  // somebody was there, whatever they said
  Silent,    // somebody took it and said nothing, which may be due to this message
  Absent,    // nobody was there, so another message would fare no better
};

struct Answer {
  std::string error;  // empty: it has the message
  Reach reach = Reach::Answered;
};

inline constexpr std::chrono::seconds kCommandLimit{30}, kWebLimit{10};

// At least once: the receiver may have the message although an error is returned. Takes at most
// this long, and never longer than the limit of its kind. Does not throw.
Answer Send(const Hook& hook, const Message& message, std::chrono::milliseconds at_most);

// What posts a message to a hook with an address, from a component of its own; the latest call
// counts.
using Poster = Answer (*)(const Hook& hook, const Message& message,
                          std::chrono::milliseconds at_most);
void UsePoster(Poster poster);
bool CanPost();

// "t=TIME,sha256=HEX": the HMAC-SHA256 of "TIME.TEXT" under the secret; time in seconds since 1970.
std::string SignatureOf(const std::string& secret, std::int64_t time, const std::string& text);

}  // namespace orvspc::engine::hooks
