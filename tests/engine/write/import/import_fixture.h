// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>

#include "engine/write/import/Import.h"
#include "tests/engine/store/store_fixture.h"

// What tests of imports share.
namespace orvspc::engine::import {

inline const std::string kHeader = "part,process,test,subgroup,time,value\n";

class ImportTest : public store::StoreTest {
 protected:
  store::DataSet Everything() {
    store::FlatSelection all;
    return Select(all.info, all.Filter());
  }
  std::int64_t CountOf(const std::string& table) {
    const auto sql = "SELECT count(*) FROM " + table;
    const auto connection = store::OpenAnother(Path());
    sql::Query query(*connection, sql);
    return query.Step() ? query.Int64(0) : -1;
  }
};

inline std::string Values(std::initializer_list<const char*> lines) {
  std::string text = kHeader;
  for (const char* line : lines) text += std::string(line) + "\n";
  return text;
}

}  // namespace orvspc::engine::import
