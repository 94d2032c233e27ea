// SPDX-License-Identifier: Apache-2.0
#include "pareto/PAProcessing.h"

#include <cstddef>
#include <tuple>
#include <type_traits>

#include "frame/ConstructorLog.h"
#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/Trail.h"
#include "frame/XMLSupport.h"
#include "frame/settings_xml.h"

namespace orvspc {
namespace {

using platform::XmlNode;

constexpr std::string_view kElement = "PAProcessing";
constexpr std::int32_t kLevels = 3;  // that leave the object
constexpr std::int32_t kMinBins = 5;

// A setting that each level has, and its words in the flat record; null where it has none.
template <class Record, class T>
struct LevelField {
  std::string_view attribute;
  std::array<T, 6> Record::*member;
  std::int32_t (API_PAOptions::*words)[6];
};
template <class Record, class T>
LevelField(const char*, std::array<T, 6> Record::*, std::int32_t (API_PAOptions::*)[6])
    -> LevelField<Record, T>;
template <class Record, class T>
LevelField(const char*, std::array<T, 6> Record::*, std::nullptr_t) -> LevelField<Record, T>;

// A setting of one level; the name that nothing but a text gives is one too.
template <class T>
void Write(const XmlNode& element, std::string_view attribute, const T& value) {
  if constexpr (std::is_same_v<T, std::string>) {
    XMLSupport::SetXMLAttribute(element, attribute, std::string_view(value));
  } else {
    XMLSupport::SetXMLAttribute(element, attribute, static_cast<std::int32_t>(value));
  }
}

// A missing attribute leaves the member as it was.
template <class T>
void Read(const XmlNode& element, std::string_view attribute, T& member) {
  if constexpr (std::is_same_v<T, std::string>) {
    member = XMLSupport::ReadText(element, attribute, member);
  } else {
    member = static_cast<T>(XMLSupport::ReadInt32(element, attribute, member));
  }
}

bool IsLevel(std::int32_t level) { return level >= 0 && level <= 5; }

template <class Levels>
auto& At(Levels& levels, std::int32_t level) {
  if (!IsLevel(level)) FailSubscript();
  return levels[static_cast<std::size_t>(level)];
}

}  // namespace

// In the order of the attributes.
struct PAProcessing::Fields {
  static constexpr std::tuple kAll{
      settings_xml::Field{"ResourceType", &Settings::ResourceType},
      settings_xml::Field{"BinCount", &Settings::BinCount},
      settings_xml::Field{"ProcessingType", &Settings::ProcessingType},
      settings_xml::Field{"AccumulationType", &Settings::AccumulationType},
      settings_xml::Field{"ShowEmptyBins", &Settings::ShowEmptyBins},
  };
  static constexpr std::tuple kOfLevel{
      LevelField{"Type", &Settings::BinType, &API_PAOptions::BinType},
      LevelField{"Name", &Settings::BinName, nullptr},
      LevelField{"ID", &Settings::BinTypeID, &API_PAOptions::BinTypeID},
      LevelField{"TimePeriod", &Settings::BinTimePeriod, &API_PAOptions::BinTimePeriod},
      LevelField{"TimeInterval", &Settings::BinTimeInterval, &API_PAOptions::BinTimeInterval},
  };

  template <class Visit>
  static void ForEachOfLevel(Visit&& visit) {
    std::apply([&](const auto&... field) { (visit(field), ...); }, kOfLevel);
  }
};

PAProcessing::PAProcessing() {
  log_ = Constructed(kElement, [&] { settings_ = Settings{}; });
}

std::shared_ptr<PAProcessing> PAProcessing::Clone() const {
  return Untraced([&] {
    auto clone = std::make_shared<PAProcessing>();
    clone->SetSettings(Friend{}, settings_);
    return clone;
  });
}

void PAProcessing::SetSettings(const Friend&, const Settings& value) { settings_ = value; }

// Deliberate: these two write both levels, the other old forms one.
void PAProcessing::TimePeriod(paTimePeriods value) {
  BinTimePeriod(0, value);
  BinTimePeriod(1, value);
}

void PAProcessing::TimeInterval(std::int32_t value) {
  BinTimeInterval(0, value);
  BinTimeInterval(1, value);
}

// Deliberate: dead in both directions; hosts that still set it go on working.
double PAProcessing::StartTime() const { return 0.0; }
void PAProcessing::StartTime(double) {}

void PAProcessing::FixProcessing() {
  Traced("PAProcessing.FixProcessing", [&] {
    if (settings_.BinCount < kMinBins) settings_.BinCount = kMinBins;
    if (settings_.ResourceType < paSubgroups || settings_.ResourceType > paProcessState)
      settings_.ResourceType = paSubgroups;
  });
}

void PAProcessing::GetAPIOptions(const Friend&, API_PAOptions& Options) const {
  Traced("PAProcessing.GetAPIOptions", [&] {
    Options = {};
    Options.AccumulationType = settings_.AccumulationType;
    Options.BinCount = settings_.BinCount;
    Options.ProcessingType = settings_.ProcessingType;
    Options.ShowEmptyBins = settings_.ShowEmptyBins ? -1 : 0;
    // Deliberate: levels 3 to 5 are kept by the object and go nowhere.
    Fields::ForEachOfLevel([&](const auto& field) {
      using Value = typename std::remove_cvref_t<decltype(settings_.*field.member)>::value_type;
      if constexpr (!std::is_same_v<Value, std::string>) {
        for (std::int32_t level = 0; level < kLevels; ++level)
          (Options.*field.words)[level] = At(settings_.*field.member, level);
      }
    });
  });
}

std::string PAProcessing::GetXML() const { return settings_xml::GetXML(kElement, *this); }

XmlNode PAProcessing::CreateXMLNode(const Friend&, platform::XmlDocument& Document) const {
  return Traced("PAProcessing.CreateXMLNode", [&] {
    const XmlNode element = Document.CreateElement(kElement);
    settings_xml::Write(element, Fields::kAll, settings_);
    for (std::int32_t level = 0; level < kLevels; ++level)
      Document.AppendChild(element, CreateLevelXMLNode(Document, level));
    return element;
  });
}

XmlNode PAProcessing::CreateLevelXMLNode(platform::XmlDocument& Document,
                                         std::int32_t Level) const {
  const XmlNode element = Document.CreateElement("Level");
  Write(element, "Index", Level);
  Fields::ForEachOfLevel([&](const auto& field) {
    Write(element, field.attribute, At(settings_.*field.member, Level));
  });
  return element;
}

bool PAProcessing::SetXML(std::string_view XML) {
  return settings_xml::SetXML(kElement, *this, XML);
}

bool PAProcessing::SetXMLNode(const Friend&, const XmlNode& Node) {
  return Traced("PAProcessing.SetXMLNode", [&] {
    settings_xml::Read(Node, Fields::kAll, settings_);
    SetLevelXMLNodes(Node);
    return true;
  });
}

bool PAProcessing::SetLevelXMLNodes(const XmlNode& Element) {
  // Deliberate: the writer's elements are named "Level", so levels of a written text do not come
  // back.
  constexpr std::string_view kLevel = "intLevel";
  platform::XmlDocument& document = XMLSupport::DocumentOf(Element);
  for (XmlNode node = document.NextDescendant(Element, {}, kLevel); node;
       node = document.NextDescendant(Element, node, kLevel)) {
    const std::int32_t level = XMLSupport::ReadInt16(node, "Index", -1);
    if (level < 0 || level >= kLevels) continue;
    // Deliberate: without "Type" an element leaves its own index as the type of its level.
    Read(node, "Index", At(settings_.BinType, level));
    Fields::ForEachOfLevel([&](const auto& field) {
      Read(node, field.attribute, At(settings_.*field.member, level));
    });
  }
  return true;
}

paBinTypes PAProcessing::BinType(std::int32_t Level) const {
  // Deliberate: a level out of range is passed over here, while the three properties below fail.
  return IsLevel(Level) ? At(settings_.BinType, Level) : paBinTypeNone;
}

void PAProcessing::BinType(std::int32_t Level, paBinTypes value) {
  if (IsLevel(Level)) At(settings_.BinType, Level) = value;
}

std::int32_t PAProcessing::BinTypeID(std::int32_t Level) const {
  return At(settings_.BinTypeID, Level);
}

void PAProcessing::BinTypeID(std::int32_t Level, std::int32_t value) {
  At(settings_.BinTypeID, Level) = value;
}

paTimePeriods PAProcessing::BinTimePeriod(std::int32_t Level) const {
  return At(settings_.BinTimePeriod, Level);
}

void PAProcessing::BinTimePeriod(std::int32_t Level, paTimePeriods value) {
  At(settings_.BinTimePeriod, Level) = value;
}

std::int32_t PAProcessing::BinTimeInterval(std::int32_t Level) const {
  return At(settings_.BinTimeInterval, Level);
}

void PAProcessing::BinTimeInterval(std::int32_t Level, std::int32_t value) {
  At(settings_.BinTimeInterval, Level) = value;
}

}  // namespace orvspc
