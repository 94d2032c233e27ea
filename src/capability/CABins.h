// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "frame/Array.h"
#include "frame/RowSet.h"
#include "platform/CapabilityRecords.h"
#include "platform/Dom.h"

namespace orvspc {

class Friend;

// The histogram of a capability analysis, one bin a row, with a cursor that starts on the first.
// Hosts reach it through CAResults.Bins. Empty when the analysis had no data.
class CABins : public RowSet {
 public:
  explicit CABins(const Friend&) : RowSet("CABins", Moves::kDirect) {}

  std::int32_t Count() const { return count_; }

  // The bin at the cursor as the capability library wrote it: X are its edges in the unit of the
  // characteristic, Y its foot and height in pieces. Without bins each fails with 9.
  double XMax() const { return Bin().XMax; }
  double XMin() const { return Bin().XMin; }
  double YMax() const { return Bin().YMax; }
  double YMin() const { return Bin().YMin; }

  // For the library.
  // Takes the bins; the cursor is on the first. Bins that were never dimensioned fail with 9,
  // and the count stays.
  void Load(const Friend&, Array<API_CABin> Bins);
  platform::XmlNode CreateXMLNode(const Friend&, platform::XmlDocument& Document) const;
  // Loads the elements Bin below the node; without one fails with 9, without the node with 91.
  bool SetXMLNode(const Friend&, const platform::XmlNode& Node);

 private:
  std::int32_t RowCount() const override { return count_; }
  const API_CABin& Bin() const { return bins_[Position()]; }

  Array<API_CABin> bins_;
  std::int32_t count_ = 0;
};

}  // namespace orvspc
