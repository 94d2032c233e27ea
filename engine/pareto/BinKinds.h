// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/catalogue/References.h"
#include "engine/pareto/state_entries.h"
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
  Phase,            // the phase that holds then for the stream; the field says when
};

// Where the names of the bins come from.
enum class Naming {
  Item,
  Group,
  Descriptor,
  DescriptorGroup,
  Time,
  Label,
  Number,
  State,
  Event,
  Phase
};

// The fields of subgroups, their rows, events and states. Null: the resource has nothing of the
// kind. A subgroup's own field wins over its rows'.
struct BinFields {
  std::int32_t API_SubgroupData::*subgroup = nullptr;
  std::int32_t store::RowKey::*row = nullptr;
  std::int32_t store::EventRow::*event = nullptr;
  std::int32_t StateEntry::*state = nullptr;
};

struct BinKind {
  std::string_view name;  // "subgroup", "defect": what messages call it
  std::int32_t type;      // paBinTypes, or kBinTypePhase
  Via via;
  Naming naming;
  BinFields of;
  catalogue::ItemKind item = catalogue::ItemKind::Part;  // of Naming::Item and Naming::Group
};

// Null for a type that does not exist.
const BinKind* FindBinKind(std::int32_t type);

}  // namespace orvspc::engine::pareto
