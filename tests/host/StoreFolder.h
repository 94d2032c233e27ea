// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "tests/host/TemporaryFolder.h"
#include "tests/postgres/test_stores.h"

namespace orvspc::host {

// A folder with databases, which are files in it or on a server.
class StoreFolder : public TemporaryFolder {
 public:
  // Of a database: a path or an address.
  std::string Store(const std::string& name) { return stores_.At(name); }
  void RemoveStore(const std::string& name) { stores_.Remove(name); }

 private:
  tests::Stores stores_{Path()};
};

}  // namespace orvspc::host
