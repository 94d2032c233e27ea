// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/Dom.h"
#include "platform/Enumerations.h"
#include "platform/ErrorLog.h"
#include "platform/Object.h"

namespace orvspc {

class Friend;

// Settings of a control chart: which chart each of up to three graphs shows, and the options
// that refine them. An analysis works on a corrected clone and never touches the host's object; the
// clone, in CCResults.Processing, then says what was drawn instead of what was asked for.
class CCProcessing : public platform::Object {
 public:
  CCProcessing();

  // A new object with the same settings; no rule is applied.
  std::shared_ptr<CCProcessing> Clone() const;

  // A Let stores what it is given, a value outside the enumeration too, unless it says otherwise.

  // Default ccGraph1BestGuessVariable. Also decides between variable and attribute charts.
  ccGraph1Types Graph1Type() const { return settings_.Graph1Type; }
  void Graph1Type(ccGraph1Types value) { settings_.Graph1Type = value; }

  // Default ccGraph2None.
  ccGraph2Types Graph2Type() const { return settings_.Graph2Type; }
  void Graph2Type(ccGraph2Types value) { settings_.Graph2Type = value; }

  // Default ccGraph3None.
  ccGraph3Types Graph3Type() const { return settings_.Graph3Type; }
  void Graph3Type(ccGraph3Types value) { settings_.Graph3Type = value; }

  // How data is normalised. Default ccTraditional. Read by AllowEconomic alone.
  ccProcessingTypes ProcessingType() const { return settings_.ProcessingType; }
  void ProcessingType(ccProcessingTypes value) { settings_.ProcessingType = value; }

  // Default false. Kept and persisted; an analysis does not use it.
  bool Individuals() const { return settings_.Individuals; }
  void Individuals(bool value) { settings_.Individuals = value; }

  // What makes neighbouring subgroups one group. Default ccGroupByNone.
  ccGroupByTypes GroupBy() const { return settings_.GroupBy; }
  void GroupBy(ccGroupByTypes value) { settings_.GroupBy = value; }

  // Largest distance in time inside a group, in seconds. Default 3600.
  std::int32_t GroupThreshold() const { return settings_.GroupThreshold; }
  void GroupThreshold(std::int32_t value) { settings_.GroupThreshold = value; }

  // Default ccCusumNone.
  ccCusumTypes Cusum() const { return settings_.Cusum; }
  void Cusum(ccCusumTypes value) { settings_.Cusum = value; }

  // Default false. Kept and persisted; an analysis does not use it.
  bool Economic() const { return settings_.Economic; }
  void Economic(bool value) { settings_.Economic = value; }

  // Acceptable quality level in percent, 0 to 100. Default 1. Below 0 becomes 1, above 100 becomes
  // 100. Attribute charts get it whatever Economic says.
  void AQLValue(double value);
  double AQLValue() const { return settings_.AQLValue; }

  // Producer's risk in percent, 0 to 99. Default 10. Outside it becomes 10.
  void AQLProducerRisk(double value);
  double AQLProducerRisk() const { return settings_.AQLProducerRisk; }

  // Default ccEwmaNone.
  ccEWMATypes EWMA() const { return settings_.EWMA; }
  void EWMA(ccEWMATypes value) { settings_.EWMA = value; }

  // Weight of the newest point, 0 to 1. Default 0. Outside it becomes the nearer bound. Kept and
  // persisted; an analysis does not use it.
  double EWMAWeight() const { return settings_.EWMAWeight; }
  void EWMAWeight(double value);

  // Takes away the options that the chart does not allow. GroupBy is never corrected.
  void FixProcessing();

  bool IsVariable() const;
  bool IsAttribute() const;

  // Changes nothing, since AllowEWMA is always false.
  void FixEWMA();
  // Always false; EWMA can be set all the same.
  bool AllowEWMA() const;
  void FixIndividual();
  bool AllowIndividual() const;
  void FixCUSUM();
  bool AllowCUSUM() const;
  // Leaves AQLValue and AQLProducerRisk as they are.
  void FixEconomic();
  bool AllowEconomic() const;

  // 3 if graph 3 has a chart, else 2 if graph 2 has, else 1 if graph 1 has, else 0; a best guess of
  // a variable chart counts as none.
  std::int32_t GraphCount() const;

  std::string GetXML() const;
  // A missing attribute leaves its setting as it was. Values are stored as they are: no bound and
  // no rule is applied. Fails with "Node does not exist!" without the root element CCProcessing,
  // with 13 or 6 on a text that is no number of the kind; what was read before stays.
  bool SetXML(std::string_view XML);

  // For the library.
  platform::XmlNode CreateXMLNode(const Friend&, platform::XmlDocument& Document) const;
  bool SetXMLNode(const Friend&, const platform::XmlNode& Node);
  // Deliberate: nothing calls it; grouping is not corrected by anything.
  bool AllowGroupBy(const Friend&) const;

 private:
  struct Settings {
    ccGraph1Types Graph1Type = ccGraph1BestGuessVariable;
    ccGraph2Types Graph2Type = ccGraph2None;
    ccGraph3Types Graph3Type = ccGraph3None;
    ccProcessingTypes ProcessingType = ccTraditional;
    bool Individuals = false;
    ccGroupByTypes GroupBy = ccGroupByNone;
    std::int32_t GroupThreshold = 3600;
    ccCusumTypes Cusum = ccCusumNone;
    ccEWMATypes EWMA = ccEwmaNone;
    double EWMAWeight = 0.0;
    bool Economic = false;
    double AQLValue = 1.0;
    double AQLProducerRisk = 10.0;
  };
  struct Fields;  // one row a setting; all that walks the settings walks it

  Settings settings_;
  std::shared_ptr<platform::ErrorLog> log_;  // made only when the constructor fails
};

}  // namespace orvspc
