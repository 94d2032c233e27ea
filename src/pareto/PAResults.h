// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "dataset/SubgroupData.h"
#include "frame/Array.h"
#include "pareto/PABins.h"
#include "pareto/PAProcessing.h"
#include "platform/Dom.h"
#include "platform/ErrorLog.h"
#include "platform/ParetoRecords.h"
#include "select/ResultsOf.h"

namespace orvspc {

class Friend;

// The result of a Pareto analysis. An analysis without data gives one without bins. A host creates
// one to load a stored result. Processing holds the corrected settings.
class PAResults : public ResultsOf<PAProcessing> {
 public:
  PAResults();

  // Without bins in a new object, and never null there. Check it after SetXML:
  //
  // - null when the text has no element "Bins", and the text of GetXML has none (it has "PABins");
  //
  // - to read bins back, give the element "PABins" to SetXML of the Bins of a new PAResults.
  std::shared_ptr<PABins> Bins() const;

  std::string GetXML() const;
  // Settings, selection, subgroups and bins become what the text has of them, else null. The bins
  // that GetXML writes do not come back: hosts give the element "PABins" to PABins.SetXML. Fails
  // with "Node does not exist!" without the root element PAResults; what was read before a failure
  // stays.
  bool SetXML(std::string_view XML);

  // For the library.
  void Load(const Friend&, Array<API_PABin> Bins);
  platform::XmlNode CreateXMLNode(const Friend&, platform::XmlDocument& Document) const;
  bool SetXMLNode(const Friend&, const platform::XmlNode& Node);

 private:
  // Deliberate: no analysis sets it and no Get gives it; a text that holds it is written again.
  std::shared_ptr<SubgroupData> subgroup_data_;
  std::shared_ptr<PABins> bins_;
  std::shared_ptr<platform::ErrorLog> log_;  // made only when the constructor fails
};

}  // namespace orvspc
