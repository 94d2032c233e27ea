// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "host/render/chart/ChartJson.h"
#include "platform/Dom.h"

namespace orvspc::render {

// A chart result as its XML tells it. Names, rule texts, groups and tables are not in the text;
// what a picture needs of them is worked out again: groups from the settings and the rows, the
// meaningful decimals from the text itself. Throws Failure as CCResults.SetXMLNode does, and with
// the graph and the list where a list has another length than there are subgroups.
ChartDocument ReadStoredChart(const platform::XmlNode& root);

}  // namespace orvspc::render
