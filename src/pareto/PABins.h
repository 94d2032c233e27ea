// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "frame/Array.h"
#include "frame/RowSet.h"
#include "platform/Dom.h"
#include "platform/ParetoRecords.h"

namespace orvspc {

class Friend;

// The bins of a Pareto analysis in their order, and a cursor over them. Figures are as the Pareto
// library wrote them; nothing is computed here. Reached through PAResults.Bins.
class PABins : public RowSet {
 public:
  explicit PABins(const Friend&) : RowSet("PABins", Moves::kDirect) {}

  std::int32_t Count() const { return count_; }
  // Figures of the current bin. Without bins they fail with 9.
  double BinCount() const { return Bin().BinCount; }
  double Factor() const { return Bin().Factor; }
  // That of level 0.
  double Percent() const { return Bin().Percentage[0]; }
  double PPK() const { return Bin().PPK; }
  double Total() const { return Bin().Total; }
  double Value() const { return Bin().Value; }
  double Yield() const { return Bin().Yield; }
  std::int32_t Flag() const { return Bin().Flag; }
  // Deprecated: ID of level 0 and of level 1.
  std::int32_t MajorID() const { return Bin().ID[0]; }
  std::int32_t MinorID() const { return Bin().ID[1]; }
  std::int32_t SubgroupID() const { return Bin().SubgroupID; }
  // Without its padding.
  std::string Name();

  std::string GetXML();
  // Replaces the bins. Fails with "Node does not exist!" without the root element PABins, with 9
  // when it holds no bin, with 13 or 6 on a text that is no number; the bins then stay.
  bool SetXML(std::string_view XML);

  // Level 0 to 2, else the failure "Invalid ID(Level). Valid levels are 0-2.".
  std::int32_t ID(std::int32_t Level) const;
  // Level 0 to 5, else 9.
  double Percentage(std::int32_t Level) const;

  // For the library.
  // Takes the array over and moves to its first bin. Fails with 9 when it was never dimensioned.
  void Load(const Friend&, Array<API_PABin> Bins);
  platform::XmlNode CreateXMLNode(const Friend&, platform::XmlDocument& Document);
  bool SetXMLNode(const Friend&, const platform::XmlNode& Node);

 private:
  std::int32_t RowCount() const override { return count_; }
  const API_PABin& Bin() const { return bins_[Position()]; }

  Array<API_PABin> bins_;
  std::int32_t count_ = 0;
};

}  // namespace orvspc
