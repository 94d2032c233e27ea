// SPDX-License-Identifier: Apache-2.0
#include "engine/pareto/BinKinds.h"

#include <string_view>

#include "platform/Enumerations.h"

namespace orvspc::engine::pareto {
namespace {

using Sg = API_SubgroupData;
using Row = store::RowKey;
using Ev = store::EventRow;
using St = StateEntry;

using Item = catalogue::ItemKind;

// The fields of subgroups, their rows, events and states; null for what has nothing of the kind.
struct Fields {
  std::int32_t Sg::*subgroup = nullptr;
  std::int32_t Row::*row = nullptr;
  std::int32_t Ev::*event = nullptr;
  std::int32_t St::*state = nullptr;
};
constexpr Fields kPart{&Sg::Part, nullptr, &Ev::part};
constexpr Fields kProcess{&Sg::Prcs, nullptr, &Ev::process, &St::process};
constexpr Fields kTest{&Sg::Test, nullptr, &Ev::test};
constexpr Fields kJob{&Sg::Job};
constexpr Fields kDefect{nullptr, &Row::Def};
constexpr Fields kCac{nullptr, nullptr, &Ev::cac};
constexpr Fields kAcc{nullptr, nullptr, &Ev::acc};

struct NamedKind {
  std::string_view name;
  BinKind kind;
};

constexpr BinKind Kind(std::int32_t type, Via via, Naming naming, const Fields& fields,
                       Item item = Item::Part) {
  return {type, via, naming, item, fields.subgroup, fields.row, fields.event, fields.state};
}
constexpr BinKind ByItem(std::int32_t type, Item item, const Fields& fields) {
  return Kind(type, Via::Field, Naming::Item, fields, item);
}
constexpr BinKind ByGroup(std::int32_t type, Item item, const Fields& fields) {
  return Kind(type, Via::Group, Naming::Group, fields, item);
}
constexpr BinKind ByPlace(std::int32_t type, Item item) {
  return Kind(type, Via::Place, Naming::Item, kProcess, item);
}

// One row for each type of category.
constexpr NamedKind kKinds[] = {
    {"subgroup", Kind(paBinTypeSubgroup, Via::Field, Naming::Label, {&Sg::Sgrp})},
    {"time",
     Kind(paBinTypeTime, Via::Time, Naming::Time, {&Sg::Sgtm, nullptr, &Ev::time, &St::time})},
    {"part", ByItem(paBinTypePart, Item::Part, kPart)},
    {"process", ByItem(paBinTypeProcess, Item::Process, kProcess)},
    {"test", ByItem(paBinTypeTest, Item::Test, kTest)},
    {"job", ByItem(paBinTypeJob, Item::Job, kJob)},
    {"lot", ByItem(paBinTypeLot, Item::Lot, {&Sg::Lot})},
    {"shift", ByItem(paBinTypeShift, Item::Shift, {&Sg::Shft})},
    {"employee", ByItem(paBinTypeEmployee, Item::Employee, {&Sg::Empl, nullptr, &Ev::employee})},
    {"descriptor", Kind(paBinTypeSgDesc, Via::Descriptor, Naming::Descriptor, {&Sg::Sgrp})},
    {"piece", Kind(paBinTypeTSNO, Via::Field, Naming::Number, {nullptr, &Row::Tsno})},
    {"serial number", ByItem(paBinTypeSN, Item::Serial, {nullptr, &Row::Sn})},
    {"defect", ByItem(paBinTypeDefect, Item::Defect, kDefect)},
    {"CAC code", ByItem(paBinTypeCAC, Item::CacCode, kCac)},
    {"ACC code", ByItem(paBinTypeACC, Item::AccCode, kAcc)},
    {"event", ByItem(paBinTypeEvent, Item::EventName, {nullptr, nullptr, &Ev::name})},
    {"gage", ByItem(paBinTypeGage, Item::Gage, {nullptr, &Row::Gage})},
    {"reading", Kind(paBinTypeSBNO, Via::Field, Naming::Number, {nullptr, &Row::Sbno})},
    {"part group", ByGroup(paBinTypePtgp, Item::Part, kPart)},
    {"process group", ByGroup(paBinTypePrgp, Item::Process, kProcess)},
    {"test group", ByGroup(paBinTypeTsgp, Item::Test, kTest)},
    {"descriptor group",
     Kind(paBinTypeDsgp, Via::DescriptorGroup, Naming::DescriptorGroup, {&Sg::Sgrp})},
    {"state", ByItem(paBinTypeStateCode, Item::StateCode, {nullptr, nullptr, nullptr, &St::state})},
    {"state type",
     Kind(paBinTypeStateType, Via::Field, Naming::State, {nullptr, nullptr, nullptr, &St::type})},
    {"company", ByPlace(paBinTypeCo, Item::Company)},
    {"division", ByPlace(paBinTypeDiv, Item::Division)},
    {"site", ByPlace(paBinTypeSite, Item::Site)},
    {"department", ByPlace(paBinTypeDept, Item::Department)},
    {"area", ByPlace(paBinTypeArea, Item::Area)},
    {"production unit", ByPlace(paBinTypePrut, Item::ProductionUnit)},
    {"defect group", ByGroup(paBinTypeDfgp, Item::Defect, kDefect)},
    {"CAC group", ByGroup(paBinTypeCagp, Item::CacCode, kCac)},
    {"ACC group", ByGroup(paBinTypeAcgp, Item::AccCode, kAcc)},
    {"job group", ByGroup(paBinTypeJbgp, Item::Job, kJob)},
    {"event type",
     Kind(paBinTypeEventType, Via::Field, Naming::Event, {nullptr, nullptr, &Ev::type})},
};

const NamedKind* Find(std::int32_t type) {
  for (const auto& each : kKinds) {
    if (each.kind.type == type) return &each;
  }
  return nullptr;
}

}  // namespace

const BinKind* FindBinKind(std::int32_t type) {
  const auto* const found = Find(type);
  return found == nullptr ? nullptr : &found->kind;
}

std::string BinTypeName(std::int32_t type) {
  const auto* const found = Find(type);
  return found == nullptr ? "bin type " + std::to_string(type) : std::string(found->name);
}

}  // namespace orvspc::engine::pareto
