// SPDX-License-Identifier: Apache-2.0
#include "frame/Failure.h"

#include <utility>

namespace orvspc {

Failure::Failure(std::int32_t number, std::string description)
    : Failure(number, "orvSPCAnalysis6", std::move(description)) {}

Failure::Failure(std::int32_t number, std::string source, std::string description)
    : number_(number), source_(std::move(source)), description_(std::move(description)) {}

void FailMessage(std::string description) { throw Failure(kMessage, std::move(description)); }
void FailOverflow() { throw Failure(kOverflow, "Overflow"); }
void FailSubscript() { throw Failure(kSubscript, "Subscript out of range"); }
void FailTypeMismatch() { throw Failure(kTypeMismatch, "Type mismatch"); }
void FailMissingObject() { throw Failure(kMissingObject, "Missing object"); }

}  // namespace orvspc
