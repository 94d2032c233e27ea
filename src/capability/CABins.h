// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "frame/Array.h"
#include "frame/Cursor.h"
#include "platform/CapabilityRecords.h"
#include "platform/Dom.h"
#include "platform/Object.h"

namespace orvspc {

class Friend;

// The histogram of a capability analysis, one bin a row, with a cursor that starts on the first.
// Hosts reach it through CAResults.Bins. Empty when the analysis had no data.
class CABins : public platform::Object {
 public:
  explicit CABins(const Friend&) {}

  std::int32_t Count() const { return count_; }

  // 1 on the first bin and on an empty set.
  std::int32_t CurrentIndex() const { return cursor_.CurrentIndex(); }
  // Moves are true when the cursor stands on the bin asked for; otherwise it stays.
  bool MoveTo(std::int32_t Index);
  bool MoveFirst();
  bool MoveLast();
  bool MoveNext();
  bool MovePrev();

  // The bin at the cursor as the capability library wrote it: X are its edges in the unit of the
  // characteristic, Y its foot and height in pieces. Without bins each fails with 9.
  double XMax() const;
  double XMin() const;
  double YMax() const;
  double YMin() const;

  // For the library.
  // Takes the bins; the cursor stands on the first. Bins that were never dimensioned fail with 9,
  // and the count stays.
  void Load(const Friend&, Array<API_CABin> Bins);
  platform::XmlNode CreateXMLNode(const Friend&, platform::XmlDocument& Document) const;
  // Loads the elements Bin below the node; without one fails with 9, without the node with 91.
  bool SetXMLNode(const Friend&, const platform::XmlNode& Node);

 private:
  Array<API_CABin> bins_;
  std::int32_t count_ = 0;
  Cursor cursor_;
};

}  // namespace orvspc
