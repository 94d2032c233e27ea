-- SPDX-License-Identifier: Apache-2.0
-- Rows of limits, opportunities, alarms and settings never change: a newer row replaces an older.
-- effective is a time stamp; the lowest stamp means "since ever". A test has type 0 until it has
-- values.

CREATE TABLE setting(
  id INTEGER PRIMARY KEY, key TEXT NOT NULL, value TEXT NOT NULL,
  who TEXT NOT NULL, made INTEGER NOT NULL);

CREATE TABLE part(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
CREATE TABLE process(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
CREATE TABLE test(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1,
  type INTEGER NOT NULL DEFAULT 0 CHECK(type IN (0, 1, 2, 4)));
CREATE TABLE revision(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
CREATE TABLE workstation(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
CREATE TABLE gage(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
CREATE TABLE job(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
CREATE TABLE lot(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
CREATE TABLE shift(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
CREATE TABLE employee(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
CREATE TABLE defect(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1,
  factor REAL NOT NULL DEFAULT 1);
CREATE TABLE serial(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);

CREATE TABLE item_group(
  id INTEGER PRIMARY KEY, kind TEXT NOT NULL, name TEXT NOT NULL, UNIQUE(kind, name));
CREATE TABLE item_group_member(
  item_group INTEGER NOT NULL REFERENCES item_group, item INTEGER NOT NULL,
  PRIMARY KEY(item_group, item)) WITHOUT ROWID;

CREATE TABLE descriptor_group(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE);
CREATE TABLE descriptor(
  id INTEGER PRIMARY KEY, descriptor_group INTEGER NOT NULL REFERENCES descriptor_group,
  name TEXT NOT NULL, UNIQUE(descriptor_group, name));

CREATE TABLE stream(
  id INTEGER PRIMARY KEY, part INTEGER NOT NULL REFERENCES part,
  process INTEGER NOT NULL REFERENCES process, test INTEGER NOT NULL REFERENCES test,
  UNIQUE(part, process, test));

CREATE TABLE context(
  id INTEGER PRIMARY KEY, workstation INTEGER REFERENCES workstation, job INTEGER REFERENCES job,
  lot INTEGER REFERENCES lot, shift INTEGER REFERENCES shift,
  revision INTEGER REFERENCES revision, employee INTEGER REFERENCES employee);
CREATE UNIQUE INDEX context_once ON context(
  ifnull(workstation, 0), ifnull(job, 0), ifnull(lot, 0), ifnull(shift, 0),
  ifnull(revision, 0), ifnull(employee, 0));

CREATE TABLE subgroup(
  id INTEGER PRIMARY KEY, part INTEGER NOT NULL REFERENCES part,
  process INTEGER NOT NULL REFERENCES process, label TEXT NOT NULL, time INTEGER NOT NULL);
CREATE UNIQUE INDEX subgroup_once ON subgroup(time, part, process, label);

CREATE TABLE measurement(
  stream INTEGER NOT NULL REFERENCES stream, time INTEGER NOT NULL,
  subgroup INTEGER NOT NULL REFERENCES subgroup, packed BLOB NOT NULL,
  context INTEGER REFERENCES context, PRIMARY KEY(stream, time, subgroup)) WITHOUT ROWID;

CREATE TABLE subgroup_descriptor(
  subgroup INTEGER NOT NULL REFERENCES subgroup, descriptor INTEGER NOT NULL REFERENCES descriptor,
  tsno INTEGER NOT NULL, PRIMARY KEY(subgroup, descriptor, tsno)) WITHOUT ROWID;
CREATE INDEX subgroup_descriptor_by_item ON subgroup_descriptor(descriptor, subgroup);

CREATE TABLE comment(
  id INTEGER PRIMARY KEY, subgroup INTEGER NOT NULL REFERENCES subgroup,
  test INTEGER REFERENCES test, tsno INTEGER NOT NULL, time INTEGER NOT NULL,
  employee INTEGER REFERENCES employee, note TEXT NOT NULL);
CREATE INDEX comment_by_subgroup ON comment(subgroup, time);

CREATE TABLE spec_limit(
  id INTEGER PRIMARY KEY, part INTEGER NOT NULL REFERENCES part,
  test INTEGER NOT NULL REFERENCES test, effective INTEGER NOT NULL,
  usl REAL, target REAL, lsl REAL, ugb REAL, lgb REAL, url REAL, lrl REAL, uwp REAL, lwp REAL,
  cp REAL, cpk REAL, eflag INTEGER NOT NULL, aflag INTEGER NOT NULL, scale INTEGER NOT NULL,
  name TEXT NOT NULL DEFAULT '', who TEXT NOT NULL, made INTEGER NOT NULL);
CREATE INDEX spec_limit_by_test ON spec_limit(part, test, effective);

CREATE TABLE control_limit(
  id INTEGER PRIMARY KEY, part INTEGER NOT NULL REFERENCES part,
  process INTEGER REFERENCES process, test INTEGER NOT NULL REFERENCES test,
  effective INTEGER NOT NULL, mean REAL NOT NULL, sp REAL NOT NULL, spl REAL NOT NULL,
  sw REAL NOT NULL, swl REAL NOT NULL, start INTEGER NOT NULL, finish INTEGER NOT NULL,
  chart_word INTEGER NOT NULL, status TEXT NOT NULL DEFAULT 'active'
    CHECK(status IN ('proposed', 'active', 'retired')),
  rule TEXT NOT NULL DEFAULT '', replaced_by INTEGER REFERENCES control_limit,
  who TEXT NOT NULL, made INTEGER NOT NULL);
CREATE INDEX control_limit_by_test ON control_limit(part, test, effective);

CREATE TABLE opportunity(
  id INTEGER PRIMARY KEY, part INTEGER NOT NULL REFERENCES part,
  test INTEGER NOT NULL REFERENCES test, effective INTEGER NOT NULL, opportunities INTEGER NOT NULL,
  who TEXT NOT NULL, made INTEGER NOT NULL);
CREATE INDEX opportunity_by_test ON opportunity(part, test, effective);

CREATE TABLE rule(
  number INTEGER PRIMARY KEY, priority INTEGER NOT NULL, kind TEXT NOT NULL, k INTEGER NOT NULL,
  m INTEGER NOT NULL, zone REAL NOT NULL, side TEXT NOT NULL, text TEXT NOT NULL);
CREATE TABLE rule_set(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE);
CREATE TABLE rule_set_member(
  rule_set INTEGER NOT NULL REFERENCES rule_set, number INTEGER NOT NULL REFERENCES rule,
  PRIMARY KEY(rule_set, number)) WITHOUT ROWID;
CREATE TABLE rule_alarm(
  id INTEGER PRIMARY KEY, part INTEGER REFERENCES part, process INTEGER REFERENCES process,
  test INTEGER REFERENCES test, graph INTEGER, number INTEGER NOT NULL REFERENCES rule,
  is_on INTEGER NOT NULL, who TEXT NOT NULL, made INTEGER NOT NULL);

INSERT INTO rule(number, priority, kind, k, m, zone, side, text) VALUES
  (1, 1, 'limit', 1, 1, 0, 'either', '1 point beyond a control limit'),
  (2, 2, 'zone', 9, 9, 0, 'same', '9 points in a row on one side of the centre line'),
  (3, 3, 'trend', 6, 6, 0, 'same', '6 points in a row, all rising or all falling'),
  (4, 4, 'alternate', 14, 14, 0, 'either', '14 points in a row, going up and down in turn'),
  (5, 5, 'zone', 2, 3, 2, 'same', '2 of 3 points in a row beyond 2 sigma on one side'),
  (6, 6, 'zone', 4, 5, 1, 'same', '4 of 5 points in a row beyond 1 sigma on one side'),
  (7, 7, 'within', 15, 15, 1, 'either', '15 points in a row within 1 sigma of the centre line'),
  (8, 8, 'outside', 8, 8, 1, 'either', '8 points in a row beyond 1 sigma, either side'),
  (9, 9, 'zone', 8, 8, 0, 'same', '8 points in a row on one side of the centre line'),
  (10, 10, 'zone', 7, 7, 0, 'same', '7 points in a row on one side of the centre line'),
  (11, 11, 'trend', 7, 7, 0, 'same', '7 points in a row, all rising or all falling'),
  (12, 12, 'trend', 8, 8, 0, 'same', '8 points in a row, all rising or all falling'),
  (16, 16, 'red', 1, 1, 0, 'either', '1 piece beyond a specification limit'),
  (17, 17, 'yellow2', 2, 2, 0, 'same', '2 pieces in a row in the yellow zone, same side'),
  (18, 18, 'yellow2', 2, 2, 0, 'both', '2 pieces in a row in the yellow zone, opposite sides');
INSERT INTO rule_set(id, name) VALUES
  (1, 'nelson'), (2, 'western-electric'), (3, 'aiag'), (4, 'public-health'), (5, 'pre-control');
INSERT INTO rule_set_member(rule_set, number) VALUES
  (1, 1), (1, 2), (1, 3), (1, 4), (1, 5), (1, 6), (1, 7), (1, 8),
  (2, 1), (2, 5), (2, 6), (2, 9),
  (3, 1), (3, 3), (3, 4), (3, 5), (3, 6), (3, 7), (3, 8), (3, 10),
  (4, 1), (4, 5), (4, 10), (4, 11),
  (5, 16), (5, 17), (5, 18);
