// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "engine/pareto/Lookups.h"
#include "platform/Database.h"
#include "platform/ParetoRecords.h"

namespace orvspc::engine::pareto {

// Names of the bins of one analysis, for hosts: level by level and whole, where the name of a bin
// joins and cuts them. The database must be one of the engine's own; failures are thrown as
// platform::ExternalFailure.
class BinNames {
 public:
  // The resource, one of paResourceTypes, and the options that the bins were made with.
  BinNames(platform::Database& database, std::int32_t resource, const API_PAOptions& options);
  BinNames(const BinNames&) = delete;
  BinNames& operator=(const BinNames&) = delete;

  // Of an identifier at a level, 0 to 2; its number where the database knows no name, empty where
  // the options have no such level.
  std::string NameOf(std::size_t level, std::int32_t id);

 private:
  std::shared_ptr<store::Store> store_;
  std::optional<ParetoPlan> plan_;
  std::optional<Lookups> lookups_;
};

}  // namespace orvspc::engine::pareto
