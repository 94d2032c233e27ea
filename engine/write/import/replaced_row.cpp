// SPDX-License-Identifier: Apache-2.0
#include "engine/write/import/replaced_row.h"

#include <utility>

#include "engine/catalogue/limits.h"
#include "engine/write/log/Json.h"

namespace orvspc::engine::import {
namespace {

log::Json FigureOf(const sql::Query& query, int column, FigureColumn::Type type) {
  if (query.IsNull(column)) return {};
  if (type == FigureColumn::kText) return std::string(query.Text(column));
  if (type == FigureColumn::kInt) return query.Int64(column);
  return log::Number(query.Real(column));
}

}  // namespace

DatedRows::DatedRows(const std::string& table, std::string object,
                     std::vector<FigureColumn> figures)
    : object_(std::move(object)), figures_(std::move(figures)) {
  const bool of_charts = table == "control_limit";
  read_ = std::string("SELECT id, ") + (of_charts ? "chart_word" : "0");
  for (const auto& figure : figures_) read_ += std::string(", ") + figure.name;
  read_ += " FROM " + table + " WHERE part = ?1 AND test = ?2 AND effective = ?3 AND ";
  read_ += of_charts ? "coalesce(process, 0) = ?4 AND status IN ('active', 'retired') "
                       "AND (until IS NULL OR until > effective)"
                     : "?4 = 0";
  read_ += " ORDER BY id DESC";
}

void DatedRows::AddReplaced(ImportFile& file, const std::array<std::int32_t, 3>& version,
                            sql::Reference process) const {
  log::Json now, former;
  {
    sql::Query query(file.db, read_, version, process.id);
    const auto take = [&] {
      log::Json row = {{"row", query.Int64(0)}};
      int column = 1;
      for (const auto& figure : figures_) row[figure.name] = FigureOf(query, ++column, figure.type);
      return row;
    };
    if (!query.Step()) return;
    now = take();
    const auto word = query.Int(1);
    while (former.is_null() && query.Step()) {
      if (catalogue::ShareCharts(word, query.Int(1))) former = take();
    }
  }
  if (former.is_null()) return;
  const auto object = object_ + " " + std::to_string(now["row"].get<std::int64_t>());
  for (const auto& figure : figures_) {
    if (now[figure.name] != former[figure.name]) continue;
    now.erase(figure.name);
    former.erase(figure.name);
  }
  if (now.size() == 1) return;
  file.writing.Add("replace", object, log::CanonicalText(former), log::CanonicalText(now));
}

}  // namespace orvspc::engine::import
