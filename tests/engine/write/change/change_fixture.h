// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "engine/QualityDatabase.h"
#include "engine/store/digest.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::change {

// Ann's change for this reason.
inline ChangeOptions BecauseOf(const char* reason) {
  ChangeOptions options;
  options.actor.by = "Ann";
  options.reason = reason;
  return options;
}

// "code: text" of what is refused; empty when it is not.
template <class Work>
std::string RefusalOf(const Work& work) {
  try {
    work();
  } catch (const Refused& refused) {
    return refused.code + ": " + refused.Description();
  }
  return {};
}

// Values of subgroup 1 are changed.
class ValuesTest : public store::StoreTest {
 protected:
  static ChangeOptions Why() { return BecauseOf("typed wrongly"); }
  void Change(const char* test, const ValueChange& change) {
    Data().ChangeValue(1, Id(catalogue::ItemKind::Test, test), change, Why());
  }
  std::string RefusalOf(const char* test, const ValueChange& change) {
    return change::RefusalOf([&] { Change(test, change); });
  }
};

// Of the values.
inline std::string DigestOf(EmbeddedDatabase& database) {
  std::string digest;
  store::SqlStoreOf(database)->ReadOrThrow(
      [&](sql::Connection& db) { digest = store::DigestOf(db).values; });
  return digest;
}

}  // namespace orvspc::engine::change
