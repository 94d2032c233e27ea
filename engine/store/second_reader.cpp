// SPDX-License-Identifier: Apache-2.0
#include "engine/store/second_reader.h"

#include <exception>

namespace orvspc::engine::store {

std::unique_ptr<SecondReader> SecondReader::Open(sql::Connection& first) noexcept {
  try {
    auto connection = first.OpenReader();
    if (connection == nullptr) return nullptr;
    return std::unique_ptr<SecondReader>(new SecondReader(std::move(connection)));
  } catch (const std::exception&) {
    return nullptr;
  }
}

bool SecondReader::Note() noexcept {
  try {
    noted_ = connection_->DataVersion();
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

bool SecondReader::Join() noexcept {
  try {
    reading_.emplace(*connection_, sql::TransactionKind::Read);
    if (connection_->DataVersion() == noted_) return true;
  } catch (const std::exception&) {
    // The first connection goes on alone.
  }
  Leave();
  return false;
}

}  // namespace orvspc::engine::store
