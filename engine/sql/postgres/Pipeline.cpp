// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/postgres/Pipeline.h"

#include <poll.h>

#include <algorithm>
#include <new>
#include <utility>

#include "engine/sql/postgres/server_failure.h"

namespace orvspc::engine::sql::postgres {
namespace {

constexpr int kBinary = 1;

// A network that was cut is noticed within a minute, whether an answer is awaited (a question after
// 20 s of silence, two more) or something was sent.
constexpr std::pair<const char*, const char*> kConnecting[] = {
    {"connect_timeout", "10"}, {"fallback_application_name", "orvspc"},
    {"keepalives_idle", "20"}, {"keepalives_interval", "10"},
    {"keepalives_count", "3"}, {"tcp_user_timeout", "50000"},
};

// Of a session, in place of what the server or its role has set.
constexpr std::pair<std::string_view, std::string_view> kSettings[] = {
    {"jit", "off"},  // compiling costs more than our statements take
    {"cursor_tuple_fraction", "0.001"},
    {"random_page_cost", "1.1"},
    {"bytea_output", "hex"},
};

}  // namespace

bool Pipeline::Connect(std::string_view condition) {
  pending_.clear();
  synced_ = true;
  transaction_ = 0;
  server_.reset();
  // Parameters before the address apply where the address gives none.
  std::vector<const char*> names, values;
  for (const auto& [name, value] : kConnecting) {
    names.push_back(name);
    values.push_back(value);
  }
  names.insert(names.end(), {"dbname", "client_encoding", nullptr});
  values.insert(values.end(), {address_.c_str(), "UTF8", nullptr});
  server_.reset(PQconnectdbParams(names.data(), values.data(), 1));
  if (!server_) throw std::bad_alloc();
  if (PQstatus(server_.get()) != CONNECTION_OK) {
    throw ConnectFailureOf(server_.get(), address_);
  }
  PQsetNoticeProcessor(
      server_.get(), [](void*, const char*) {}, nullptr);
  ++session_;
  CheckServer();
  auto text = "SELECT " + std::string(condition);
  for (const auto& [name, value] : kSettings) {
    text.append(", set_config('").append(name).append("', '").append(value).append("', false)");
  }
  const auto result = ResultOf(PQexec(server_.get(), text.c_str()), {PGRES_TUPLES_OK});
  PQenterPipelineMode(server_.get());
  return *PQgetvalue(result.get(), 0, 0) == 't';
}

// Whether we can work with this server and database.
void Pipeline::CheckServer() const {
  constexpr int kOldestServer = 150000;
  if (PQserverVersion(server_.get()) < kOldestServer) {
    throw SqlError(SqlError::Kind::Other, "its server is older than PostgreSQL 15");
  }
  const char* encoding = PQparameterStatus(server_.get(), "server_encoding");
  if (encoding == nullptr || std::string_view(encoding) != "UTF8") {
    throw SqlError(SqlError::Kind::Other, std::string("its encoding is ") +
                                              (encoding == nullptr ? "unknown" : encoding) +
                                              "; UTF8 needed");
  }
}

// The connection is of no use any more.
void Pipeline::Drop(const SqlError& failure) {
  pending_.clear();
  synced_ = true;
  transaction_ = 0;
  server_.reset();
  throw SqlError(failure);
}

void Pipeline::Sent(int was_sent, Kind kind, Receiver* owner) {
  if (was_sent != 1) Drop(Lost());
  pending_.push_back({kind, owner});
  synced_ = kind == Kind::Sync;
}

void Pipeline::SendText(const char* sql, Kind kind, Receiver* owner) {
  if (!server_) throw Lost();
  Sent(PQsendQueryParams(server_.get(), sql, 0, nullptr, nullptr, nullptr, nullptr, kBinary), kind,
       owner);
}

void Pipeline::SendPrepare(const std::string& name, const std::string& sql,
                           const std::vector<TypeId>& types) {
  if (!server_) throw Lost();
  Sent(PQsendPrepare(server_.get(), name.c_str(), sql.c_str(), static_cast<int>(types.size()),
                     types.data()),
       Kind::Statement, nullptr);
}

void Pipeline::SendPrepared(const std::string& name, std::span<const char* const> values,
                            std::span<const int> lengths, std::span<const int> formats,
                            Receiver* owner) {
  if (!server_) throw Lost();
  Sent(PQsendQueryPrepared(server_.get(), name.c_str(), static_cast<int>(values.size()),
                           values.data(), lengths.data(), formats.data(), kBinary),
       Kind::Statement, owner);
}

void Pipeline::Sync() {
  if (synced_) return;
  if (!server_) throw Lost();
  Sent(PQpipelineSync(server_.get()), Kind::Sync, nullptr);
}

void Pipeline::Receive() {
  if (!server_) throw Lost();
  // The server has skipped what this waits for.
  if (pending_.empty()) throw SqlError(SqlError::Kind::Other, "an earlier statement failed");
  Result result(PQgetResult(server_.get()));
  const auto request = pending_.front();
  const auto status = result ? PQresultStatus(result.get()) : PGRES_FATAL_ERROR;
  if (status == PGRES_FATAL_ERROR) {
    const auto failure = FailureOf(result.get());
    if (failure.Which() == SqlError::Kind::Lost) Drop(failure);
    failed_ = true;
    pending_.pop_front();
    const Result end(PQgetResult(server_.get()));
    // The server skips the rest of what was sent with it.
    for (auto& each : pending_) {
      if (each.kind == Kind::Sync) break;
      each = {Kind::Quiet, nullptr};
    }
    if (request.kind != Kind::Quiet) throw SqlError(failure);
    return;
  }
  pending_.pop_front();
  if (status == PGRES_PIPELINE_SYNC) return;
  const Result end(PQgetResult(server_.get()));  // of this answer
  if (status == PGRES_PIPELINE_ABORTED) return;
  if (request.owner != nullptr) request.owner->Take(std::move(result));
}

void Pipeline::Forget(const Receiver& owner) noexcept {
  for (auto& request : pending_) {
    if (request.owner == &owner) request = {Kind::Quiet, nullptr};
  }
}

void Pipeline::ForgetFailures() noexcept {
  for (auto& request : pending_) {
    if (request.kind == Kind::Statement) request.kind = Kind::Quiet;
  }
}

void Pipeline::Drain() {
  Sync();
  while (!pending_.empty()) Receive();
}

void Pipeline::AwaitAnswer(const std::function<void()>& work) {
  constexpr int kPause = 50;  // milliseconds
  pollfd socket{PQsocket(server_.get()), POLLIN, 0};
  while (work && poll(&socket, 1, kPause) == 0) work();
}

template <class Work>
void Pipeline::Alone(Work work) {
  Drain();
  if (!server_) throw Lost();
  PQexitPipelineMode(server_.get());
  const struct Again {
    Pipeline& pipeline;
    ~Again() {
      if (pipeline.server_) PQenterPipelineMode(pipeline.server_.get());
    }
  } again{*this};
  work();
}

Result Pipeline::ResultOf(PGresult* taken, std::initializer_list<ExecStatusType> expected) {
  Result result(taken);
  const auto status = result ? PQresultStatus(result.get()) : PGRES_FATAL_ERROR;
  if (std::ranges::find(expected, status) != expected.end()) return result;
  const auto failure = FailureOf(result.get());
  if (failure.Which() == SqlError::Kind::Lost) Drop(failure);
  failed_ = true;
  throw SqlError(failure);
}

void Pipeline::Execute(const char* sql) {
  Alone([&] { ResultOf(PQexec(server_.get(), sql), {PGRES_COMMAND_OK, PGRES_TUPLES_OK}); });
}

void Pipeline::Copy(const std::string& sql, std::string_view rows) {
  Alone([&] {
    ResultOf(PQexec(server_.get(), sql.c_str()), {PGRES_COPY_IN});
    if (PQputCopyData(server_.get(), rows.data(), static_cast<int>(rows.size())) != 1 ||
        PQputCopyEnd(server_.get(), nullptr) != 1) {
      Drop(Lost());
    }
    Result done(PQgetResult(server_.get()));
    if (done) const Result end(PQgetResult(server_.get()));
    ResultOf(done.release(), {PGRES_COMMAND_OK});
  });
}

}  // namespace orvspc::engine::sql::postgres
