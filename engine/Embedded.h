// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Database.h"
#include "platform/Platform.h"

// The embedded engine as hosts see it: one SQLite file is a quality database.
namespace orvspc {

// What the engine decided for the user (a fallback, a dropped graph, a cut list, nothing to show).
// Every host prints them.
struct Note {
  std::string code;    // short and stable, "limits-changed"
  std::string text;    // one sentence
  std::string stream;  // the part, process and test that it speaks of; empty for the whole
};

// One estimate of a stream with where it came from.
struct Estimate {
  double value = 0.0;     // NaN when there is nothing to estimate from
  std::string name;       // "R-est mvlue", "MR-est"
  double constant = 0.0;  // d2, c4 used; NaN where sizes differ
  std::int32_t used = 0;  // ranges, deviations or moving ranges that went in
  std::int32_t least_size = 0, largest_size = 0;
};

// The estimates of one stream (part, process, test) of the latest chart of this thread.
struct StreamReport {
  std::int32_t part = 0, process = 0, test = 0;
  Estimate mean, sp, sw;  // sp: sigma of one piece as graph 1 sees it; sw: as graph 3 sees it
  double average_size = 0.0;
};

// Up to how much a sample would be accepted, at each point of a chart of attributes. Stands beside
// the chart: no point, limit or mark depends on it.
struct AcceptanceLimits {
  double level = 0.0, risk = 0.0;  // acceptable quality level and producer's risk, percent
  bool binomial = false;           // of defectives; otherwise Poisson, of defects
  // The acceptance number of each subgroup, and that number per unit; NaN where there is none.
  std::vector<double> numbers, rates;
};

// What the records of a capability analysis have no place for. All of the law that the latest call
// left in force: the Johnson curve after a fit, otherwise the normal one.
struct CapabilityReport {
  // For the JSON of a result: Bins[i].Expected is expected[i], as many as the result has bins; 0
  // where there is no law (all values equal).
  std::vector<double> expected;
  std::string law;      // "normal", "Johnson SU", ...; empty when there is none
  Estimate short_term;  // where the short-term deviation came from
  // Of a Johnson curve; 0 for a normal one.
  double gamma = 0.0, delta = 0.0, xi = 0.0, lambda = 0.0;
  double fitted_at = 0.0;  // the z at whose four quantiles the curve was fitted
};

// A window of time in which a sampling requirement asked for samples.
struct SamplingDue {
  std::int32_t requirement = 0, process = 0;
  std::int32_t due = 0;  // stamp of its last second
  std::int32_t expected = 0, collected = 0;
};

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
};

// Makes the embedded engine the platform of the process.
void InstallEmbedded();

// The embedded engine as a platform, for platform::Scope.
std::shared_ptr<platform::Platform> EmbeddedPlatform();

// Opens an existing quality database, or with create makes a new one. Throws
// platform::ExternalFailure with file and reason: not there, no database, a newer schema, locked,
// read-only folder.
std::shared_ptr<EmbeddedDatabase> OpenDatabase(const std::string& path, bool create = false);

// A failure that could not leave a constructor.
struct LoggedFailure {
  std::string procedure, description, source, application;
  std::int32_t number = 0;
};

// The latest hundred failures that the process logged, oldest first. Nothing is ever printed.
std::vector<LoggedFailure> LoggedFailures();

// Of this thread: the notes since the last call, and the streams of the latest chart.
std::vector<Note> TakeNotes();
std::vector<StreamReport> LatestStreams();
// Of this thread's latest capability analysis; empty before the first and after one that failed.
// Ask before the next analysis of the thread.
CapabilityReport LatestCapability();
// Of this thread's latest chart; none unless it is one of attributes.
std::optional<AcceptanceLimits> LatestAcceptance();

// Of this thread's latest compliance of sampling, requirement by requirement.
std::vector<SamplingDue> LatestSampling();

}  // namespace orvspc
