// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "engine/catalogue/References.h"
#include "engine/pareto/StateEntry.h"
#include "engine/store/logs.h"
#include "platform/RowRecords.h"

// What a level can be binned by, and what each kind of resource has of it.
namespace orvspc::engine::pareto {

// How the identifier of a bin follows from the field of a record.
enum class Via {
  Field,            // it is the field itself
  Group,            // the group that the item belongs to
  Place,            // where the process belongs
  Descriptor,       // the descriptor that the subgroup has
  DescriptorGroup,  // the descriptor group that the subgroup has one of
  Time,             // the period that the time lies in
};

// Where the names of the bins come from.
enum class Naming { Item, Group, Descriptor, DescriptorGroup, Time, Label, Number, State, Event };

struct BinKind {
  std::int32_t type;  // paBinTypes
  Via via;
  Naming naming;
  catalogue::ItemKind item;  // of Naming::Item and Naming::Group
  // Null: the resource has nothing of the kind. A subgroup's own field wins over its rows'.
  std::int32_t API_SubgroupData::*of_subgroup;
  std::int32_t store::RowKey::*of_row;
  std::int32_t store::EventRow::*of_event;
  std::int32_t StateEntry::*of_state;
};

// Null for a type that does not exist.
const BinKind* FindBinKind(std::int32_t type);

// "subgroup", "defect": what messages call the type; its number for one that does not exist.
std::string BinTypeName(std::int32_t type);

}  // namespace orvspc::engine::pareto
