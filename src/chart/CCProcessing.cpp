// SPDX-License-Identifier: Apache-2.0
#include "chart/CCProcessing.h"

#include <tuple>

#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"
#include "frame/settings_xml.h"

namespace orvspc {
namespace {

constexpr std::string_view kElement = "CCProcessing";

bool Between(std::int32_t value, std::int32_t low, std::int32_t high) {
  return value >= low && value <= high;
}

}  // namespace

// In the order of the attributes.
struct CCProcessing::Fields {
  static constexpr std::tuple kAll{
      settings_xml::Field{"Graph1Type", &Settings::Graph1Type},
      settings_xml::Field{"Graph2Type", &Settings::Graph2Type},
      settings_xml::Field{"Graph3Type", &Settings::Graph3Type},
      settings_xml::Field{"ProcessingType", &Settings::ProcessingType},
      settings_xml::Field{"Individuals", &Settings::Individuals},
      settings_xml::Field{"GroupBy", &Settings::GroupBy},
      settings_xml::Field{"GroupThreshold", &Settings::GroupThreshold},
      settings_xml::Field{"Cusum", &Settings::Cusum},
      settings_xml::Field{"EWMA", &Settings::EWMA},
      settings_xml::Field{"EWMAWeight", &Settings::EWMAWeight},
      settings_xml::Field{"Economic", &Settings::Economic},
      settings_xml::Field{"AQLValue", &Settings::AQLValue},
      settings_xml::Field{"AQLProducerRisk", &Settings::AQLProducerRisk},
  };
};

CCProcessing::CCProcessing() {
  log_ = Constructed(kElement, [&] { settings_ = Settings{}; });
}

std::shared_ptr<CCProcessing> CCProcessing::Clone() const {
  return Untraced([&] {
    auto clone = std::make_shared<CCProcessing>();
    clone->settings_ = settings_;
    return clone;
  });
}

void CCProcessing::AQLValue(double value) {
  // Deliberate: below the range the default, above it the bound.
  settings_.AQLValue = value < 0.0 ? 1.0 : value > 100.0 ? 100.0 : value;
}

void CCProcessing::AQLProducerRisk(double value) {
  // Deliberate: the default on both sides of the range.
  settings_.AQLProducerRisk = value < 0.0 || value > 99.0 ? 10.0 : value;
}

void CCProcessing::EWMAWeight(double value) {
  settings_.EWMAWeight = value < 0.0 ? 0.0 : value > 1.0 ? 1.0 : value;
}

void CCProcessing::FixProcessing() {
  Traced("CCProcessing.FixProcessing", [&] {
    FixEWMA();
    FixCUSUM();
    FixEconomic();
    FixIndividual();
  });
}

bool CCProcessing::IsVariable() const {
  return Traced("CCProcessing.IsVariable", [&] {
    return Between(settings_.Graph1Type, ccGraph1BestGuessVariable, ccGraph1Pc);
  });
}

bool CCProcessing::IsAttribute() const {
  return Traced("CCProcessing.IsAttribute", [&] {
    return Between(settings_.Graph1Type, ccGraph1BestGuessAttribute, ccGraph1U);
  });
}

void CCProcessing::FixEWMA() {
  Traced("CCProcessing.FixEWMA", [&] {
    // Deliberate: the sense is the opposite of the other corrections.
    if (!AllowEWMA()) return;
    settings_.EWMA = ccEwmaNone;
    settings_.EWMAWeight = 0.0;
  });
}

bool CCProcessing::AllowEWMA() const {
  // Deliberate: false for every chart; FixEWMA relies on it to keep EWMA and EWMAWeight.
  return Traced("CCProcessing.AllowEWMA", [] { return false; });
}

void CCProcessing::FixIndividual() {
  Traced("CCProcessing.FixIndividual", [&] {
    if (!AllowIndividual()) settings_.Individuals = false;
  });
}

bool CCProcessing::AllowIndividual() const {
  return Traced("CCProcessing.AllowIndividual", [&] {
    return Between(settings_.Graph1Type, ccGraph1Ix, ccGraph1Pc) ||
           settings_.Graph1Type == ccGraph1Np;
  });
}

void CCProcessing::FixCUSUM() {
  Traced("CCProcessing.FixCUSUM", [&] {
    if (!AllowCUSUM()) settings_.Cusum = ccCusumNone;
  });
}

bool CCProcessing::AllowCUSUM() const {
  return Traced("CCProcessing.AllowCUSUM", [&] {
    return settings_.Graph1Type != ccGraph1Pc && settings_.Graph1Type != ccGraph1Np;
  });
}

bool CCProcessing::AllowGroupBy(const Friend&) const {
  return Traced("CCProcessing.AllowGroupBy", [&] {
    return settings_.Graph1Type != ccGraph1Pc && settings_.Graph1Type != ccGraph1Np;
  });
}

void CCProcessing::FixEconomic() {
  Traced("CCProcessing.FixEconomic", [&] {
    if (!AllowEconomic()) settings_.Economic = false;
  });
}

bool CCProcessing::AllowEconomic() const {
  return Traced("CCProcessing.AllowEconomic", [&] {
    return Between(settings_.Graph1Type, ccGraph1BestGuessVariable, ccGraph1Ma) &&
           Between(settings_.ProcessingType, ccTraditional, ccTarget);
  });
}

std::int32_t CCProcessing::GraphCount() const {
  return Traced("CCProcessing.GraphCount", [&] {
    if (settings_.Graph3Type != 0) return 3;
    if (settings_.Graph2Type != 0) return 2;
    return settings_.Graph1Type != 0 ? 1 : 0;
  });
}

std::string CCProcessing::GetXML() const { return settings_xml::GetXML(kElement, *this); }

platform::XmlNode CCProcessing::CreateXMLNode(const Friend&,
                                              platform::XmlDocument& Document) const {
  return Traced("CCProcessing.CreateXMLNode", [&] {
    return settings_xml::CreateElement(Document, kElement, Fields::kAll, settings_);
  });
}

bool CCProcessing::SetXML(std::string_view XML) {
  return settings_xml::SetXML(kElement, *this, XML);
}

bool CCProcessing::SetXMLNode(const Friend&, const platform::XmlNode& Node) {
  return Traced("CCProcessing.SetXMLNode", [&] {
    // Deliberate: no bound and no rule is applied; what was written comes back unchanged.
    settings_xml::Read(Node, Fields::kAll, settings_);
    return true;
  });
}

}  // namespace orvspc
