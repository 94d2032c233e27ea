// SPDX-License-Identifier: Apache-2.0
#include "host/render/core/ResolvedOption.h"

#include <type_traits>

namespace orvspc::render {

namespace {

void WriteOption(JsonWriter& json, const ResolvedOption& option) {
  json.Object(
      option.key,
      [&] {
        json.Key("Value");
        std::visit(
            [&](const auto& value) {
              if constexpr (std::is_same_v<std::decay_t<decltype(value)>, std::monostate>) {
                json.Null();
              } else {
                json.Value(value);
              }
            },
            option.value);
        json.Member("From", option.from);
      },
      true);
}

}  // namespace

void WriteOptions(JsonWriter& json, const std::vector<ResolvedOption>& options) {
  json.Object("Options", [&] {
    for (const auto& option : options) WriteOption(json, option);
  });
}

}  // namespace orvspc::render
