// SPDX-License-Identifier: Apache-2.0
#include "pareto/PAProcessing.h"

#include <cstddef>
#include <tuple>

#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"
#include "frame/settings_xml.h"

namespace orvspc {
namespace {

using platform::XmlNode;

constexpr std::string_view kElement = "PAProcessing";
constexpr std::int32_t kLevels = 3;  // that leave the object
constexpr std::int32_t kMinBins = 5;

bool IsLevel(std::int32_t level) { return level >= 0 && level <= 5; }

// Outside 0 to 5 it fails with 9.
std::size_t LevelIndex(std::int32_t level) {
  if (!IsLevel(level)) FailSubscript();
  return static_cast<std::size_t>(level);
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
      settings_xml::Field{"Type", &LevelSettings::Type},
      settings_xml::Field{"Name", &LevelSettings::Name},
      settings_xml::Field{"ID", &LevelSettings::ID},
      settings_xml::Field{"TimePeriod", &LevelSettings::TimePeriod},
      settings_xml::Field{"TimeInterval", &LevelSettings::TimeInterval},
  };
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

// Deliberate: these two write both levels, the other old forms one.
void PAProcessing::TimePeriod(paTimePeriods value) {
  BinTimePeriod(0, value);
  BinTimePeriod(1, value);
}

void PAProcessing::TimeInterval(std::int32_t value) {
  BinTimeInterval(0, value);
  BinTimeInterval(1, value);
}

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
    for (std::int32_t level = 0; level < kLevels; ++level) {
      const LevelSettings& from = At(level);
      Options.BinType[level] = from.Type;
      Options.BinTypeID[level] = from.ID;
      Options.BinTimePeriod[level] = from.TimePeriod;
      Options.BinTimeInterval[level] = from.TimeInterval;
    }
  });
}

std::string PAProcessing::GetXML() const { return settings_xml::GetXML(kElement, *this); }

XmlNode PAProcessing::CreateXMLNode(const Friend&, platform::XmlDocument& Document) const {
  return Traced("PAProcessing.CreateXMLNode", [&] {
    const XmlNode root = settings_xml::CreateElement(Document, kElement, Fields::kAll, settings_);
    for (std::int32_t level = 0; level < kLevels; ++level) {
      const XmlNode element = Document.CreateElement("Level");
      XMLSupport::SetXMLAttribute(element, "Index", level);
      settings_xml::Write(element, Fields::kOfLevel, At(level));
      Document.AppendChild(root, element);
    }
    return root;
  });
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

void PAProcessing::SetLevelXMLNodes(const XmlNode& Element) {
  // Deliberate: the writer's elements are named "Level", so levels of a written text do not come
  // back.
  constexpr std::string_view kLevel = "intLevel";
  platform::XmlDocument& document = XMLSupport::DocumentOf(Element);
  for (XmlNode node = document.NextDescendant(Element, {}, kLevel); node;
       node = document.NextDescendant(Element, node, kLevel)) {
    const std::int32_t level = XMLSupport::ReadInt16(node, "Index", -1);
    if (level < 0 || level >= kLevels) continue;
    // Deliberate: without "Type" an element leaves its own index as the type of its level.
    settings_xml::ReadValue(node, "Index", At(level).Type);
    settings_xml::Read(node, Fields::kOfLevel, At(level));
  }
}

const PAProcessing::LevelSettings& PAProcessing::At(std::int32_t level) const {
  return settings_.Levels[LevelIndex(level)];
}
PAProcessing::LevelSettings& PAProcessing::At(std::int32_t level) {
  return settings_.Levels[LevelIndex(level)];
}

paBinTypes PAProcessing::BinType(std::int32_t Level) const {
  // Deliberate: a level out of range is passed over here, while the three other properties fail.
  return IsLevel(Level) ? At(Level).Type : paBinTypeNone;
}

void PAProcessing::BinType(std::int32_t Level, paBinTypes value) {
  if (IsLevel(Level)) At(Level).Type = value;
}

}  // namespace orvspc
