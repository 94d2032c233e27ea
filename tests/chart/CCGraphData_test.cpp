// SPDX-License-Identifier: Apache-2.0
#include "chart/CCGraphData.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "frame/Friend.h"
#include "tests/chart/record_builder.h"
#include "tests/fake/FailureOf.h"

namespace orvspc {
namespace {

using chart_test::ArrayOf;
using fake::FailureOf;

std::shared_ptr<CCGraphData> Loaded(API_CCGraph&& record) {
  auto data = std::make_shared<CCGraphData>(Friend{});
  data->Load(Friend{}, std::move(record), nullptr);
  return data;
}

// Three points; every field has values of its own.
API_CCGraph FullRecord() {
  API_CCGraph record;
  record.Points = ArrayOf<double>({1, 2, 3});
  record.SGSizes = ArrayOf<std::int32_t>({4, 5, 6});
  record.Overlays = ArrayOf<double>({7, 8, 9});
  record.cOOCs = ArrayOf<std::int32_t>({10, 11, 12});
  record.OOCs = ArrayOf<std::int32_t>({13, 14, 15});
  record.OOSs = ArrayOf<std::int32_t>({16, 17, 18});
  record.AFlags = ArrayOf<std::int32_t>({19, 20, 21});
  record.EFlags = ArrayOf<std::int32_t>({22, 23, 24});
  record.USLs = ArrayOf<double>({25, 26, 27});
  record.Targets = ArrayOf<double>({28, 29, 30});
  record.LSLs = ArrayOf<double>({31, 32, 33});
  record.cUCLs = ArrayOf<double>({34, 35, 36});
  record.cCLs = ArrayOf<double>({37, 38, 39});
  record.cLCLs = ArrayOf<double>({40, 41, 42});
  record.UCLs = ArrayOf<double>({43, 44, 45});
  record.Cls = ArrayOf<double>({46, 47, 48});
  record.LCLs = ArrayOf<double>({49, 50, 51});
  return record;
}

// Both forms of a property as doubles.
struct Property {
  std::string name, array_name;
  std::function<double(const CCGraphData&)> at;
  std::function<std::optional<std::vector<double>>(const CCGraphData&)> all;
  double first;  // value at the first point of FullRecord; the others follow
  enum Guard { Points, Oos, Overlays } guard = Points;
};

template <class T, class U>
Property Of(std::string name, std::string array_name, T (CCGraphData::*at)() const,
            std::optional<std::vector<U>> (CCGraphData::*all)() const, double first,
            Property::Guard guard = Property::Points) {
  return {std::move(name),
          std::move(array_name),
          [at](const CCGraphData& data) { return static_cast<double>((data.*at)()); },
          [all](const CCGraphData& data) -> std::optional<std::vector<double>> {
            const auto values = (data.*all)();
            if (!values) return std::nullopt;
            return std::vector<double>(values->begin(), values->end());
          },
          first,
          guard};
}

std::vector<Property> Properties() {
  using D = CCGraphData;
  return {
      Of("Point", "GetPoints", &D::Point, &D::GetPoints, 1),
      Of("Size", "GetSizes", &D::Size, &D::GetSizes, 4),
      Of("Overlay", "GetOverlays", &D::Overlay, &D::GetOverlays, 7, Property::Overlays),
      Of("cOOC", "GetcOOCs", &D::cOOC, &D::GetcOOCs, 10),
      Of("OOC", "GetOOCs", &D::OOC, &D::GetOOCs, 13),
      Of("OOS", "GetOOSs", &D::OOS, &D::GetOOSs, 16, Property::Oos),
      Of("AFlag", "GetAFlags", &D::AFlag, &D::GetAFlags, 19, Property::Oos),
      Of("EFlag", "GetEFlags", &D::EFlag, &D::GetEFlags, 22, Property::Oos),
      Of("USL", "GetUSLs", &D::USL, &D::GetUSLs, 25),
      Of("Target", "GetTargets", &D::Target, &D::GetTargets, 28),
      Of("LSL", "GetLSLs", &D::LSL, &D::GetLSLs, 31),
      Of("cUCL", "GetcUCLs", &D::cUCL, &D::GetcUCLs, 34),
      Of("cCL", "GetcCLs", &D::cCL, &D::GetcCLs, 37),
      Of("cLCL", "GetcLCLs", &D::cLCL, &D::GetcLCLs, 40),
      Of("UCL", "GetUCLs", &D::UCL, &D::GetUCLs, 43),
      Of("CL", "GetCLs", &D::CL, &D::GetCLs, 46),
      Of("LCL", "GetLCLs", &D::LCL, &D::GetLCLs, 49),
  };
}

TEST(CCGraphData, EveryPropertyReadsItsFieldAtTheCursorAndItsArrayWhole) {
  const auto data = Loaded(FullRecord());
  ASSERT_EQ(data->Count(), 3);
  for (std::int32_t index = 1; index <= 3; ++index) {
    ASSERT_TRUE(data->MoveTo(index));
    for (const Property& property : Properties()) {
      EXPECT_EQ(property.at(*data), property.first + index - 1) << property.name;
      EXPECT_EQ(property.all(*data),
                (std::vector{property.first, property.first + 1, property.first + 2}))
          << property.array_name;
    }
  }
}

TEST(CCGraphData, ARecordWithoutArraysIsAnEmptySet) {
  const auto data = Loaded({});
  EXPECT_EQ(data->Count(), 0);
  EXPECT_EQ(data->CurrentIndex(), 1);
  EXPECT_FALSE(data->MoveFirst());
  EXPECT_FALSE(data->MoveLast());
  EXPECT_FALSE(data->MoveNext());
  EXPECT_FALSE(data->MovePrev());
  EXPECT_FALSE(data->MoveTo(1));
  for (const Property& property : Properties()) {
    EXPECT_EQ(property.at(*data), 0.0) << property.name;
    EXPECT_EQ(property.all(*data), std::nullopt) << property.array_name;
  }
  EXPECT_FALSE(data->HasControlLimits());
  EXPECT_FALSE(data->HasSpecificationLimits());
  EXPECT_FALSE(data->HasOverlays());
  EXPECT_EQ(data->cOOCRuleDef(), nullptr);
  EXPECT_EQ(data->OOCRuleDef(), nullptr);
  EXPECT_EQ(data->OOCText(), "");
  EXPECT_EQ(data->cOOCText(), "");
}

TEST(CCGraphData, WithPointsAndNoOtherArrayAPropertyFailsAndAnArrayFormIsEmpty) {
  API_CCGraph record;
  record.cOOCs = ArrayOf<std::int32_t>({0, 0});
  const auto data = Loaded(std::move(record));
  for (const Property& property : Properties()) {
    if (property.name == "cOOC") continue;
    const auto caught = FailureOf([&] { property.at(*data); });
    const auto all = property.all(*data);
    if (property.guard == Property::Points) {
      EXPECT_EQ(caught.Number(), 9) << property.name;
      EXPECT_EQ(caught.Source(), "CCGraphData." + property.name + "(g)|orvSPCAnalysis6");
      EXPECT_EQ(all, std::vector<double>{}) << property.array_name;
    } else {
      EXPECT_EQ(caught.Number(), 0) << property.name;
      EXPECT_EQ(property.at(*data), 0.0) << property.name;
      if (property.guard == Property::Oos) {
        EXPECT_EQ(all, std::nullopt) << property.array_name;
      } else {
        EXPECT_EQ(all, std::vector<double>{}) << "overlays: the array form asks for points";
      }
    }
  }
}

TEST(CCGraphData, CountIsThatOfTheCalculatedMarksAndNotOfThePoints) {
  API_CCGraph record;
  record.Points = ArrayOf<double>({1, 2, 3});
  const auto data = Loaded(std::move(record));
  EXPECT_EQ(data->Count(), 0);
  EXPECT_EQ(data->Point(), 0.0);
  EXPECT_EQ(data->GetPoints(), std::nullopt);
}

TEST(CCGraphData, OverlaysHaveACountOfTheirOwnForTheProperty) {
  API_CCGraph record;
  record.Overlays = ArrayOf<double>({5, 6});
  const auto data = Loaded(std::move(record));
  EXPECT_EQ(data->Overlay(), 5.0);
  EXPECT_EQ(data->GetOverlays(), std::nullopt) << "no points";
  EXPECT_TRUE(data->HasOverlays());
}

TEST(CCGraphData, TheCursorStopsAtTheEnds) {
  const auto data = Loaded(FullRecord());
  EXPECT_EQ(data->CurrentIndex(), 1);
  EXPECT_FALSE(data->MovePrev());
  EXPECT_TRUE(data->MoveLast());
  EXPECT_EQ(data->CurrentIndex(), 3);
  EXPECT_FALSE(data->MoveNext());
  EXPECT_EQ(data->CurrentIndex(), 3);
  for (const std::int32_t index : {0, -1, 4, 2147483647, -2147483647 - 1}) {
    EXPECT_FALSE(data->MoveTo(index));
    EXPECT_EQ(data->CurrentIndex(), 3);
  }
  EXPECT_TRUE(data->MoveTo(2));
  EXPECT_TRUE(data->MoveNext());
  EXPECT_TRUE(data->MovePrev());
  EXPECT_EQ(data->CurrentIndex(), 2);
  EXPECT_TRUE(data->MoveFirst());
  EXPECT_EQ(data->CurrentIndex(), 1);
}

TEST(CCGraphData, OnOnePointFirstAndLastSucceedAndNextAndPrevDoNot) {
  API_CCGraph record;
  record.cOOCs = ArrayOf<std::int32_t>({0});
  const auto data = Loaded(std::move(record));
  EXPECT_TRUE(data->MoveFirst());
  EXPECT_TRUE(data->MoveLast());
  EXPECT_FALSE(data->MoveNext());
  EXPECT_FALSE(data->MovePrev());
}

}  // namespace
}  // namespace orvspc
