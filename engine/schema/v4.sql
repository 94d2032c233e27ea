-- SPDX-License-Identifier: Apache-2.0
-- Daily work: the log of everything that was changed, imports as batches, keys of records, limits
-- with a life, phases, and alarms. Times are seconds since 1970 UTC unless told.

-- Who this database is; a copy is another.
CREATE TABLE identity(id INTEGER PRIMARY KEY CHECK(id = 1), uuid TEXT NOT NULL);

-- One entry a change, never changed itself. at is milliseconds; before and after are canonical JSON;
-- hash is over the entry and the hash of the one before. Digests and hashes are hexadecimal.
CREATE TABLE log(
  seq INTEGER PRIMARY KEY, at INTEGER NOT NULL, who TEXT NOT NULL, system TEXT NOT NULL,
  station TEXT NOT NULL, operation TEXT NOT NULL, object TEXT NOT NULL, before TEXT NOT NULL,
  after TEXT NOT NULL, reason TEXT NOT NULL, program TEXT NOT NULL, hash TEXT NOT NULL);
CREATE INDEX log_by_object ON log(object, seq);

-- Imports and batches of records. entry is that of the log.
CREATE TABLE batch(
  id INTEGER PRIMARY KEY, kind TEXT NOT NULL, source TEXT NOT NULL, source_sha256 TEXT NOT NULL DEFAULT '',
  profile TEXT NOT NULL DEFAULT '', key TEXT NOT NULL DEFAULT '', lines INTEGER NOT NULL,
  records INTEGER NOT NULL, digest TEXT NOT NULL DEFAULT '',
  state TEXT NOT NULL CHECK(state IN ('stored', 'undone')),
  entry INTEGER NOT NULL);

-- What brought a descriptor to a subgroup: batches, and 0 for what came by itself or was there
-- before.
CREATE TABLE descriptor_source(
  subgroup INTEGER NOT NULL, descriptor INTEGER NOT NULL, tsno INTEGER NOT NULL,
  batch INTEGER NOT NULL, PRIMARY KEY(subgroup, descriptor, tsno, batch)) WITHOUT ROWID;
INSERT INTO descriptor_source SELECT subgroup, descriptor, tsno, 0 FROM subgroup_descriptor
  ORDER BY subgroup, descriptor, tsno;

-- Keys that callers gave their records, so that one that is sent again is stored once. answer is JSON:
-- the alarms and notes of each record; empty: there were none.
CREATE TABLE client_key(
  key TEXT PRIMARY KEY, fingerprint TEXT NOT NULL, subgroup INTEGER, batch INTEGER,
  entry INTEGER NOT NULL, made INTEGER NOT NULL, answer TEXT NOT NULL DEFAULT '') WITHOUT ROWID;
CREATE INDEX client_key_by_time ON client_key(made);
-- By which a context is found, in words that every database knows.
DROP INDEX context_once;
CREATE UNIQUE INDEX context_once ON context(
  coalesce(workstation, 0), coalesce(job, 0), coalesce(lot, 0), coalesce(shift, 0),
  coalesce(revision, 0), coalesce(employee, 0));

-- Former names of items. kind is the word of a kind of item.
CREATE TABLE alias(
  kind TEXT NOT NULL, name TEXT NOT NULL, item INTEGER NOT NULL, PRIMARY KEY(kind, name))
  WITHOUT ROWID;

-- A row that is active or retired holds from effective up to and without until; null: without an
-- end. state_at is when it got its status, approved_at when it was approved, whatever became of it;
-- null: when it was made. used is the number of subgroups behind it, digest that
-- of their values. The figures from average_size on are those of the chart behind it that mean and
-- sigmas leave open; null: not given. The program compares the rows with the older table and drops it.
DROP INDEX control_limit_by_test;
ALTER TABLE control_limit RENAME TO control_limit_3;
CREATE TABLE control_limit(
  id INTEGER PRIMARY KEY, part INTEGER NOT NULL REFERENCES part,
  process INTEGER REFERENCES process, test INTEGER NOT NULL REFERENCES test,
  effective INTEGER NOT NULL, mean REAL NOT NULL, sp REAL NOT NULL, spl REAL NOT NULL,
  sw REAL NOT NULL, swl REAL NOT NULL, start INTEGER NOT NULL, finish INTEGER NOT NULL,
  chart_word INTEGER NOT NULL, status TEXT NOT NULL DEFAULT 'active'
    CHECK(status IN ('proposed', 'active', 'retired', 'rejected', 'void')),
  rule TEXT NOT NULL DEFAULT '', replaced_by INTEGER, until INTEGER, state_at INTEGER,
  approved_at INTEGER,
  digest TEXT NOT NULL DEFAULT '', estimator TEXT NOT NULL DEFAULT '', used INTEGER NOT NULL DEFAULT 0,
  reason TEXT NOT NULL DEFAULT '', average_size REAL, within REAL, moving REAL, gamma REAL,
  numerator REAL, denominator REAL, sp_bar REAL, within_bar REAL, sw_bar REAL,
  who TEXT NOT NULL, made INTEGER NOT NULL);
INSERT INTO control_limit(id, part, process, test, effective, mean, sp, spl, sw, swl, start, finish,
  chart_word, status, rule, replaced_by, who, made)
  SELECT id, part, process, test, effective, mean, sp, spl, sw, swl, start, finish, chart_word,
    status, rule, replaced_by, who, made FROM control_limit_3 ORDER BY id;
CREATE INDEX control_limit_by_test ON control_limit(part, test, effective);

-- Subgroups that a row of limits was made without.
CREATE TABLE limit_exclusion(
  limit_row INTEGER NOT NULL REFERENCES control_limit, subgroup INTEGER NOT NULL,
  reason TEXT NOT NULL, PRIMARY KEY(limit_row, subgroup)) WITHOUT ROWID;

-- Stretches of a stream with limits of their own, from start up to and without finish; null: any,
-- or without an end. Subgroups of an excluded phase are shown and count for nothing.
CREATE TABLE phase(
  id INTEGER PRIMARY KEY, part INTEGER REFERENCES part, process INTEGER REFERENCES process,
  test INTEGER REFERENCES test, start INTEGER NOT NULL, finish INTEGER, name TEXT NOT NULL,
  reason TEXT NOT NULL DEFAULT '', kind TEXT NOT NULL DEFAULT 'stage'
    CHECK(kind IN ('stage', 'trial', 'excluded')),
  freeze_after INTEGER NOT NULL DEFAULT 0, who TEXT NOT NULL, made INTEGER NOT NULL);

-- When limits are proposed anew: after so many points in a row on one side, from so many of them.
CREATE TABLE baseline_policy(
  id INTEGER PRIMARY KEY, part INTEGER REFERENCES part, process INTEGER REFERENCES process,
  test INTEGER REFERENCES test, run INTEGER NOT NULL, minimum INTEGER NOT NULL,
  rule TEXT NOT NULL, who TEXT NOT NULL, made INTEGER NOT NULL);

-- How charts and studies of streams are drawn where that is not the default. key has the word of the
-- chart or study before a point. Of several rows that concern a stream and graph the one that names
-- the most of part, process and test holds, and of equal ones the newest; the value 'default' takes a
-- choice back. null: any.
CREATE TABLE chart_option(
  id INTEGER PRIMARY KEY, part INTEGER REFERENCES part, process INTEGER REFERENCES process,
  test INTEGER REFERENCES test, graph INTEGER NOT NULL, key TEXT NOT NULL, value TEXT NOT NULL,
  who TEXT NOT NULL, made INTEGER NOT NULL);

-- How far a stream is judged, by which limits and rules.
CREATE TABLE alarm_mark(
  stream INTEGER PRIMARY KEY REFERENCES stream, time INTEGER NOT NULL, subgroup INTEGER NOT NULL,
  limit_row INTEGER NOT NULL, rules TEXT NOT NULL);
-- What a cusum or EWMA has come to at a point, every so many points.
CREATE TABLE alarm_checkpoint(
  stream INTEGER NOT NULL REFERENCES stream, graph INTEGER NOT NULL, time INTEGER NOT NULL,
  subgroup INTEGER NOT NULL, upper REAL NOT NULL, lower REAL NOT NULL,
  PRIMARY KEY(stream, graph, time, subgroup))
  WITHOUT ROWID;
-- A signal of a stream: rule 0 is a specification limit. event is its row there.
CREATE TABLE alarm(
  event INTEGER PRIMARY KEY, stream INTEGER NOT NULL REFERENCES stream, graph INTEGER NOT NULL,
  rule INTEGER NOT NULL, first_subgroup INTEGER NOT NULL, last_subgroup INTEGER NOT NULL,
  points INTEGER NOT NULL, state TEXT NOT NULL
    CHECK(state IN ('open', 'acknowledged', 'closed', 'withdrawn')),
  is_late INTEGER NOT NULL DEFAULT 0, detected INTEGER NOT NULL, revision INTEGER NOT NULL DEFAULT 0,
  UNIQUE(stream, graph, rule, first_subgroup));
CREATE INDEX alarm_by_state ON alarm(state, event);
CREATE INDEX alarm_by_subgroup ON alarm(stream, last_subgroup);

-- Events of the subgroups of a chart, and when its process was down.
CREATE INDEX event_by_subgroup ON event(subgroup_time) WHERE subgroup_time IS NOT NULL;
CREATE INDEX event_downtime ON event(time) WHERE type = 7;

-- Up to when a sampling requirement is judged, and the windows that were short. event is its row
-- there.
CREATE TABLE sampling_mark(
  requirement INTEGER PRIMARY KEY REFERENCES requirement, due INTEGER NOT NULL);
CREATE TABLE missed_sample(
  event INTEGER PRIMARY KEY, requirement INTEGER NOT NULL REFERENCES requirement,
  due INTEGER NOT NULL, is_withdrawn INTEGER NOT NULL DEFAULT 0,
  revision INTEGER NOT NULL DEFAULT 0, UNIQUE(requirement, due));

-- What is to be told outside, in the order of its making; hooks are not kept in a database.
CREATE TABLE outbox(
  id INTEGER PRIMARY KEY, event INTEGER NOT NULL, revision INTEGER NOT NULL, made INTEGER NOT NULL,
  message TEXT NOT NULL);
CREATE INDEX outbox_by_event ON outbox(event, id);
CREATE TABLE delivery(
  outbox INTEGER NOT NULL REFERENCES outbox, hook TEXT NOT NULL, state TEXT NOT NULL
    CHECK(state IN ('waiting', 'done', 'dead')),
  tries INTEGER NOT NULL, next INTEGER NOT NULL, error TEXT NOT NULL DEFAULT '',
  PRIMARY KEY(outbox, hook)) WITHOUT ROWID;
CREATE INDEX delivery_by_hook ON delivery(hook, outbox);
CREATE INDEX delivery_open ON delivery(hook, state, next) WHERE state <> 'done';

-- Beside these rows of the last number that a part and process gave a subgroup without a label:
-- "label 3 17", by their identifiers.
INSERT INTO counter(name, last) VALUES
  ('batch', 0), ('phase', 0), ('baseline_policy', 0), ('chart_option', 0), ('outbox', 0);
