// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "capability/CABins.h"
#include "capability/CACurve.h"
#include "capability/CAProcessing.h"
#include "capability/CAStatistics.h"
#include "frame/Array.h"
#include "platform/Dom.h"
#include "platform/ErrorLog.h"
#include "select/ResultsOf.h"

namespace orvspc {

class Friend;

// The result of a capability analysis. Every Get hands out the held object itself, not a copy. An
// analysis without data gives a result whose statistics are all zero and whose bins and curve are
// empty. Processing holds the settings after FixProcessing, DataSelect the selection with what the
// analysis resolved in it.
class CAResults : public ResultsOf<CAProcessing> {
 public:
  CAResults();

  std::shared_ptr<CAStatistics> Statistics() const { return statistics_; }
  std::shared_ptr<CABins> Bins() const { return bins_; }
  std::shared_ptr<CACurve> Curve() const { return curve_; }

  // The whole result as text, and back without a database. Not everything that is written comes
  // back: four fields of the specification limits and what hangs on the stated net content do not.
  // A result without data can be written but not read: reading its text fails with 9.
  std::string GetXML() const;
  // Replaces settings and selection, then overwrites the statistics, then replaces bins and curve;
  // a failure leaves what was done before it. Fails with "Node does not exist!" without the root
  // element CAResults, with 91 when a part of the text is missing, with 13 or 6 on a text that is
  // no number of the kind.
  bool SetXML(std::string_view XML);

  // For the library.
  void Load(const Friend&, const API_CAStatistics& Stats, Array<API_CABin> Bins, Array<double> X,
            Array<double> Y);
  platform::XmlNode CreateXMLNode(const Friend&, platform::XmlDocument& Document) const;
  bool SetXMLNode(const Friend&, const platform::XmlNode& Node);

 private:
  std::shared_ptr<CAStatistics> statistics_;
  std::shared_ptr<CABins> bins_;
  std::shared_ptr<CACurve> curve_;
  std::shared_ptr<platform::ErrorLog> log_;  // made only when the constructor fails
};

}  // namespace orvspc
