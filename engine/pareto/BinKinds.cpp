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

constexpr catalogue::ItemKind kNoItem = catalogue::ItemKind::Part;

struct NamedKind {
  std::string_view name;
  BinKind kind;
};

// One row for each type: what it is called, how identifiers and names are found, and the field of
// subgroups, rows, events and states.
constexpr NamedKind kKinds[] = {
    {"subgroup",
     {paBinTypeSubgroup, Via::Field, Naming::Label, kNoItem, &Sg::Sgrp, nullptr, nullptr, nullptr}},
    {"time",
     {paBinTypeTime, Via::Time, Naming::Time, kNoItem, &Sg::Sgtm, nullptr, &Ev::time, &St::time}},
    {"part",
     {paBinTypePart, Via::Field, Naming::Item, catalogue::ItemKind::Part, &Sg::Part, nullptr,
      &Ev::part, nullptr}},
    {"process",
     {paBinTypeProcess, Via::Field, Naming::Item, catalogue::ItemKind::Process, &Sg::Prcs, nullptr,
      &Ev::process, &St::process}},
    {"test",
     {paBinTypeTest, Via::Field, Naming::Item, catalogue::ItemKind::Test, &Sg::Test, nullptr,
      &Ev::test, nullptr}},
    {"job",
     {paBinTypeJob, Via::Field, Naming::Item, catalogue::ItemKind::Job, &Sg::Job, nullptr, nullptr,
      nullptr}},
    {"lot",
     {paBinTypeLot, Via::Field, Naming::Item, catalogue::ItemKind::Lot, &Sg::Lot, nullptr, nullptr,
      nullptr}},
    {"shift",
     {paBinTypeShift, Via::Field, Naming::Item, catalogue::ItemKind::Shift, &Sg::Shft, nullptr,
      nullptr, nullptr}},
    {"employee",
     {paBinTypeEmployee, Via::Field, Naming::Item, catalogue::ItemKind::Employee, &Sg::Empl,
      nullptr, &Ev::employee, nullptr}},
    {"descriptor",
     {paBinTypeSgDesc, Via::Descriptor, Naming::Descriptor, kNoItem, &Sg::Sgrp, nullptr, nullptr,
      nullptr}},
    {"piece",
     {paBinTypeTSNO, Via::Field, Naming::Number, kNoItem, nullptr, &Row::Tsno, nullptr, nullptr}},
    {"serial number",
     {paBinTypeSN, Via::Field, Naming::Item, catalogue::ItemKind::Serial, nullptr, &Row::Sn,
      nullptr, nullptr}},
    {"defect",
     {paBinTypeDefect, Via::Field, Naming::Item, catalogue::ItemKind::Defect, nullptr, &Row::Def,
      nullptr, nullptr}},
    {"CAC code",
     {paBinTypeCAC, Via::Field, Naming::Item, catalogue::ItemKind::CacCode, nullptr, nullptr,
      &Ev::cac, nullptr}},
    {"ACC code",
     {paBinTypeACC, Via::Field, Naming::Item, catalogue::ItemKind::AccCode, nullptr, nullptr,
      &Ev::acc, nullptr}},
    {"event",
     {paBinTypeEvent, Via::Field, Naming::Item, catalogue::ItemKind::EventName, nullptr, nullptr,
      &Ev::name, nullptr}},
    {"gage",
     {paBinTypeGage, Via::Field, Naming::Item, catalogue::ItemKind::Gage, nullptr, &Row::Gage,
      nullptr, nullptr}},
    {"reading",
     {paBinTypeSBNO, Via::Field, Naming::Number, kNoItem, nullptr, &Row::Sbno, nullptr, nullptr}},
    {"part group",
     {paBinTypePtgp, Via::Group, Naming::Group, catalogue::ItemKind::Part, &Sg::Part, nullptr,
      &Ev::part, nullptr}},
    {"process group",
     {paBinTypePrgp, Via::Group, Naming::Group, catalogue::ItemKind::Process, &Sg::Prcs, nullptr,
      &Ev::process, &St::process}},
    {"test group",
     {paBinTypeTsgp, Via::Group, Naming::Group, catalogue::ItemKind::Test, &Sg::Test, nullptr,
      &Ev::test, nullptr}},
    {"descriptor group",
     {paBinTypeDsgp, Via::DescriptorGroup, Naming::DescriptorGroup, kNoItem, &Sg::Sgrp, nullptr,
      nullptr, nullptr}},
    {"state",
     {paBinTypeStateCode, Via::Field, Naming::Item, catalogue::ItemKind::StateCode, nullptr,
      nullptr, nullptr, &St::state}},
    {"state type",
     {paBinTypeStateType, Via::Field, Naming::State, kNoItem, nullptr, nullptr, nullptr,
      &St::type}},
    {"company",
     {paBinTypeCo, Via::Place, Naming::Item, catalogue::ItemKind::Company, &Sg::Prcs, nullptr,
      &Ev::process, &St::process}},
    {"division",
     {paBinTypeDiv, Via::Place, Naming::Item, catalogue::ItemKind::Division, &Sg::Prcs, nullptr,
      &Ev::process, &St::process}},
    {"site",
     {paBinTypeSite, Via::Place, Naming::Item, catalogue::ItemKind::Site, &Sg::Prcs, nullptr,
      &Ev::process, &St::process}},
    {"department",
     {paBinTypeDept, Via::Place, Naming::Item, catalogue::ItemKind::Department, &Sg::Prcs, nullptr,
      &Ev::process, &St::process}},
    {"area",
     {paBinTypeArea, Via::Place, Naming::Item, catalogue::ItemKind::Area, &Sg::Prcs, nullptr,
      &Ev::process, &St::process}},
    {"production unit",
     {paBinTypePrut, Via::Place, Naming::Item, catalogue::ItemKind::ProductionUnit, &Sg::Prcs,
      nullptr, &Ev::process, &St::process}},
    {"defect group",
     {paBinTypeDfgp, Via::Group, Naming::Group, catalogue::ItemKind::Defect, nullptr, &Row::Def,
      nullptr, nullptr}},
    {"CAC group",
     {paBinTypeCagp, Via::Group, Naming::Group, catalogue::ItemKind::CacCode, nullptr, nullptr,
      &Ev::cac, nullptr}},
    {"ACC group",
     {paBinTypeAcgp, Via::Group, Naming::Group, catalogue::ItemKind::AccCode, nullptr, nullptr,
      &Ev::acc, nullptr}},
    {"job group",
     {paBinTypeJbgp, Via::Group, Naming::Group, catalogue::ItemKind::Job, &Sg::Job, nullptr,
      nullptr, nullptr}},
    {"event type",
     {paBinTypeEventType, Via::Field, Naming::Event, kNoItem, nullptr, nullptr, &Ev::type,
      nullptr}},
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
