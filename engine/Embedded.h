// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Database.h"
#include "platform/Platform.h"
#include "platform/Reports.h"

// The embedded engine as hosts see it: one SQLite file is a quality database, or with
// engine/PostgreSQL.h a database on a server.
namespace orvspc {

// An open quality database. Closing it (the last reference) makes its handle refused.
class EmbeddedDatabase : public platform::Database {
 public:
  struct Failure {
    std::int32_t number = 0;
    std::string description;
  };

  // Why the latest engine call on this database returned nothing, and clears it; empty when nothing
  // failed. The functions of the closed libraries cannot say it themselves.
  virtual std::optional<Failure> TakeFailure() = 0;

  // What the analyses that this thread ran on this database reported since the last call, and
  // clears it: take it after each analysis whose report matters.
  virtual Report TakeReport() = 0;
};

// Makes the embedded engine the platform of the process.
void InstallEmbedded();

// The embedded engine as a platform, for platform::Scope.
std::shared_ptr<platform::Platform> EmbeddedPlatform();

// Opens an existing quality database, or with create makes a new one. Throws
// platform::ExternalFailure with file and reason: not there, no database, a newer schema, locked,
// damaged; with create also what may only be read, without it that of an older schema.
std::shared_ptr<EmbeddedDatabase> OpenDatabase(const std::string& path, bool create = false);

// What may be printed of the path or the address of a database: all but passwords.
std::string WithoutPasswords(const std::string& path);

// A failure that could not leave a constructor.
struct LoggedFailure {
  std::string procedure, description, source, application;
  std::int32_t number = 0;
};

// The latest hundred failures that the process logged, oldest first. Nothing is ever printed.
std::vector<LoggedFailure> LoggedFailures();

}  // namespace orvspc
