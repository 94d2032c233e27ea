// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "frame/Array.h"
#include "platform/Dom.h"
#include "platform/RowRecords.h"

namespace orvspc::XMLSupport {

// The rows below a SubgroupData element. A null node gives false and leaves the arrays alone; a
// container without rows leaves its array never dimensioned.
bool LoadSubgroupDataFromXMLNode(const platform::XmlNode& node, Array<API_SubgroupData>& Subgroups,
                                 Array<API_TestData>& Tests, Array<API_DescriptorData>& Descriptors,
                                 Array<API_CommentData>& Comments);

}  // namespace orvspc::XMLSupport
