// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace orvspc::engine::store {

// A whole quality database as schema version 1 wrote it, dumped as SQL: two streams of variable
// values, one of defects, and at least one row in every table that can have one.
inline constexpr const char* kVersion1File = R"sql(
PRAGMA application_id=1363433009;
PRAGMA user_version=1;
PRAGMA foreign_keys=OFF;
BEGIN TRANSACTION;
CREATE TABLE setting(
  id INTEGER PRIMARY KEY, key TEXT NOT NULL, value TEXT NOT NULL,
  who TEXT NOT NULL, made INTEGER NOT NULL);
INSERT INTO setting VALUES(1,'time_zone','+01:00','host',1700000000);
CREATE TABLE part(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
INSERT INTO part VALUES(1,'Ring',1);
CREATE TABLE process(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
INSERT INTO process VALUES(1,'Press A',1);
INSERT INTO process VALUES(2,'Press B',1);
CREATE TABLE test(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1,
  type INTEGER NOT NULL DEFAULT 0 CHECK(type IN (0, 1, 2, 4)));
INSERT INTO test VALUES(1,'Diameter',1,1);
INSERT INTO test VALUES(2,'Looks',1,2);
CREATE TABLE revision(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
CREATE TABLE workstation(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
CREATE TABLE gage(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
CREATE TABLE job(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
INSERT INTO job VALUES(1,'J1',1);
INSERT INTO job VALUES(2,'J2',1);
CREATE TABLE lot(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
CREATE TABLE shift(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
INSERT INTO shift VALUES(1,'Early',1);
INSERT INTO shift VALUES(2,'Late',1);
CREATE TABLE employee(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
CREATE TABLE defect(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1,
  factor REAL NOT NULL DEFAULT 1);
INSERT INTO defect VALUES(1,'scratch',1,1.0);
INSERT INTO defect VALUES(2,'dent',1,1.0);
CREATE TABLE serial(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
CREATE TABLE item_group(
  id INTEGER PRIMARY KEY, kind TEXT NOT NULL, name TEXT NOT NULL, UNIQUE(kind, name));
INSERT INTO item_group VALUES(1,'process','Presses');
INSERT INTO item_group VALUES(2,'defect','Surface');
CREATE TABLE item_group_member(
  item_group INTEGER NOT NULL REFERENCES item_group, item INTEGER NOT NULL,
  PRIMARY KEY(item_group, item)) WITHOUT ROWID;
INSERT INTO item_group_member VALUES(1,1);
INSERT INTO item_group_member VALUES(2,1);
CREATE TABLE descriptor_group(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE);
INSERT INTO descriptor_group VALUES(1,'colour');
CREATE TABLE descriptor(
  id INTEGER PRIMARY KEY, descriptor_group INTEGER NOT NULL REFERENCES descriptor_group,
  name TEXT NOT NULL, UNIQUE(descriptor_group, name));
INSERT INTO descriptor VALUES(1,1,'red');
INSERT INTO descriptor VALUES(2,1,'blue');
CREATE TABLE stream(
  id INTEGER PRIMARY KEY, part INTEGER NOT NULL REFERENCES part,
  process INTEGER NOT NULL REFERENCES process, test INTEGER NOT NULL REFERENCES test,
  UNIQUE(part, process, test));
INSERT INTO stream VALUES(1,1,1,1);
INSERT INTO stream VALUES(2,1,2,1);
INSERT INTO stream VALUES(3,1,1,2);
CREATE TABLE context(
  id INTEGER PRIMARY KEY, workstation INTEGER REFERENCES workstation, job INTEGER REFERENCES job,
  lot INTEGER REFERENCES lot, shift INTEGER REFERENCES shift,
  revision INTEGER REFERENCES revision, employee INTEGER REFERENCES employee);
INSERT INTO context VALUES(1,NULL,1,NULL,1,NULL,NULL);
INSERT INTO context VALUES(2,NULL,2,NULL,2,NULL,NULL);
CREATE TABLE subgroup(
  id INTEGER PRIMARY KEY, part INTEGER NOT NULL REFERENCES part,
  process INTEGER NOT NULL REFERENCES process, label TEXT NOT NULL, time INTEGER NOT NULL);
INSERT INTO subgroup VALUES(1,1,1,'1',1710136800);
INSERT INTO subgroup VALUES(2,1,2,'2',1710140400);
INSERT INTO subgroup VALUES(3,1,1,'3',1710147600);
CREATE TABLE measurement(
  stream INTEGER NOT NULL REFERENCES stream, time INTEGER NOT NULL,
  subgroup INTEGER NOT NULL REFERENCES subgroup, packed BLOB NOT NULL,
  context INTEGER REFERENCES context, PRIMARY KEY(stream, time, subgroup)) WITHOUT ROWID;
INSERT INTO measurement VALUES(1,1710136800,1,X'5d0209c702000000e09dee6501000000020000000100000052b81e85eb815240e3a59bc420805240',1);
INSERT INTO measurement VALUES(2,1710140400,2,X'bc33807801000000f0abee6502000000010000000100000048e17a14ae7f5240',2);
INSERT INTO measurement VALUES(3,1710136800,1,X'891bccd902000000e09dee650100000032000000020000000000000000000840000000000000f03f00000000000000000000000001000000000000000000000000000000000000000200000000000000',NULL);
INSERT INTO measurement VALUES(3,1710147600,3,X'37781b1b0100000010c8ee6503000000280000000200000000000000000000000000000000000000000000000000000000000000',NULL);
CREATE TABLE subgroup_descriptor(
  subgroup INTEGER NOT NULL REFERENCES subgroup, descriptor INTEGER NOT NULL REFERENCES descriptor,
  tsno INTEGER NOT NULL, PRIMARY KEY(subgroup, descriptor, tsno)) WITHOUT ROWID;
INSERT INTO subgroup_descriptor VALUES(1,1,1);
INSERT INTO subgroup_descriptor VALUES(2,2,1);
CREATE TABLE comment(
  id INTEGER PRIMARY KEY, subgroup INTEGER NOT NULL REFERENCES subgroup,
  test INTEGER REFERENCES test, tsno INTEGER NOT NULL, time INTEGER NOT NULL,
  employee INTEGER REFERENCES employee, note TEXT NOT NULL);
INSERT INTO comment VALUES(1,1,1,1,1710136800,NULL,'first of the day');
CREATE TABLE spec_limit(
  id INTEGER PRIMARY KEY, part INTEGER NOT NULL REFERENCES part,
  test INTEGER NOT NULL REFERENCES test, effective INTEGER NOT NULL,
  usl REAL, target REAL, lsl REAL, ugb REAL, lgb REAL, url REAL, lrl REAL, uwp REAL, lwp REAL,
  cp REAL, cpk REAL, eflag INTEGER NOT NULL, aflag INTEGER NOT NULL, scale INTEGER NOT NULL,
  name TEXT NOT NULL DEFAULT '', who TEXT NOT NULL, made INTEGER NOT NULL);
INSERT INTO spec_limit VALUES(1,1,1,-2147483648,74.049999999999997156,NULL,73.95000000000000284,NULL,NULL,NULL,NULL,NULL,NULL,NULL,NULL,34,34,4,'','import limits.csv',1700000000);
CREATE TABLE control_limit(
  id INTEGER PRIMARY KEY, part INTEGER NOT NULL REFERENCES part,
  process INTEGER REFERENCES process, test INTEGER NOT NULL REFERENCES test,
  effective INTEGER NOT NULL, mean REAL NOT NULL, sp REAL NOT NULL, spl REAL NOT NULL,
  sw REAL NOT NULL, swl REAL NOT NULL, start INTEGER NOT NULL, finish INTEGER NOT NULL,
  chart_word INTEGER NOT NULL, status TEXT NOT NULL DEFAULT 'active'
    CHECK(status IN ('proposed', 'active', 'retired')),
  rule TEXT NOT NULL DEFAULT '', replaced_by INTEGER REFERENCES control_limit,
  who TEXT NOT NULL, made INTEGER NOT NULL);
INSERT INTO control_limit VALUES(1,1,NULL,1,-2147483648,74.0,0.010000000000000000208,0.0,0.0,0.0,0,0,0,'active','',NULL,'import cl.csv',1700000000);
CREATE TABLE opportunity(
  id INTEGER PRIMARY KEY, part INTEGER NOT NULL REFERENCES part,
  test INTEGER NOT NULL REFERENCES test, effective INTEGER NOT NULL, opportunities INTEGER NOT NULL,
  who TEXT NOT NULL, made INTEGER NOT NULL);
INSERT INTO opportunity VALUES(1,1,2,-2147483648,4,'import op.csv',1700000000);
CREATE TABLE rule(
  number INTEGER PRIMARY KEY, priority INTEGER NOT NULL, kind TEXT NOT NULL, k INTEGER NOT NULL,
  m INTEGER NOT NULL, zone REAL NOT NULL, side TEXT NOT NULL, text TEXT NOT NULL);
INSERT INTO rule VALUES(1,1,'limit',1,1,0.0,'either','1 point beyond a control limit');
INSERT INTO rule VALUES(2,2,'zone',9,9,0.0,'same','9 points in a row on one side of the centre line');
INSERT INTO rule VALUES(3,3,'trend',6,6,0.0,'same','6 points in a row, all rising or all falling');
INSERT INTO rule VALUES(4,4,'alternate',14,14,0.0,'either','14 points in a row, going up and down in turn');
INSERT INTO rule VALUES(5,5,'zone',2,3,2.0,'same','2 of 3 points in a row beyond 2 sigma on one side');
INSERT INTO rule VALUES(6,6,'zone',4,5,1.0,'same','4 of 5 points in a row beyond 1 sigma on one side');
INSERT INTO rule VALUES(7,7,'within',15,15,1.0,'either','15 points in a row within 1 sigma of the centre line');
INSERT INTO rule VALUES(8,8,'outside',8,8,1.0,'either','8 points in a row beyond 1 sigma, either side');
INSERT INTO rule VALUES(9,9,'zone',8,8,0.0,'same','8 points in a row on one side of the centre line');
INSERT INTO rule VALUES(10,10,'zone',7,7,0.0,'same','7 points in a row on one side of the centre line');
INSERT INTO rule VALUES(11,11,'trend',7,7,0.0,'same','7 points in a row, all rising or all falling');
INSERT INTO rule VALUES(12,12,'trend',8,8,0.0,'same','8 points in a row, all rising or all falling');
INSERT INTO rule VALUES(16,16,'red',1,1,0.0,'either','1 piece beyond a specification limit');
INSERT INTO rule VALUES(17,17,'yellow2',2,2,0.0,'same','2 pieces in a row in the yellow zone, same side');
INSERT INTO rule VALUES(18,18,'yellow2',2,2,0.0,'both','2 pieces in a row in the yellow zone, opposite sides');
INSERT INTO rule VALUES(20,20,'zone',5,5,0.0,'same','Rule 20');
CREATE TABLE rule_set(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE);
INSERT INTO rule_set VALUES(1,'nelson');
INSERT INTO rule_set VALUES(2,'western-electric');
INSERT INTO rule_set VALUES(3,'aiag');
INSERT INTO rule_set VALUES(4,'public-health');
INSERT INTO rule_set VALUES(5,'pre-control');
INSERT INTO rule_set VALUES(6,'strict');
CREATE TABLE rule_set_member(
  rule_set INTEGER NOT NULL REFERENCES rule_set, number INTEGER NOT NULL REFERENCES rule,
  PRIMARY KEY(rule_set, number)) WITHOUT ROWID;
INSERT INTO rule_set_member VALUES(1,1);
INSERT INTO rule_set_member VALUES(1,2);
INSERT INTO rule_set_member VALUES(1,3);
INSERT INTO rule_set_member VALUES(1,4);
INSERT INTO rule_set_member VALUES(1,5);
INSERT INTO rule_set_member VALUES(1,6);
INSERT INTO rule_set_member VALUES(1,7);
INSERT INTO rule_set_member VALUES(1,8);
INSERT INTO rule_set_member VALUES(2,1);
INSERT INTO rule_set_member VALUES(2,5);
INSERT INTO rule_set_member VALUES(2,6);
INSERT INTO rule_set_member VALUES(2,9);
INSERT INTO rule_set_member VALUES(3,1);
INSERT INTO rule_set_member VALUES(3,3);
INSERT INTO rule_set_member VALUES(3,4);
INSERT INTO rule_set_member VALUES(3,5);
INSERT INTO rule_set_member VALUES(3,6);
INSERT INTO rule_set_member VALUES(3,7);
INSERT INTO rule_set_member VALUES(3,8);
INSERT INTO rule_set_member VALUES(3,10);
INSERT INTO rule_set_member VALUES(4,1);
INSERT INTO rule_set_member VALUES(4,5);
INSERT INTO rule_set_member VALUES(4,10);
INSERT INTO rule_set_member VALUES(4,11);
INSERT INTO rule_set_member VALUES(5,16);
INSERT INTO rule_set_member VALUES(5,17);
INSERT INTO rule_set_member VALUES(5,18);
INSERT INTO rule_set_member VALUES(6,20);
CREATE TABLE rule_alarm(
  id INTEGER PRIMARY KEY, part INTEGER REFERENCES part, process INTEGER REFERENCES process,
  test INTEGER REFERENCES test, graph INTEGER, number INTEGER NOT NULL REFERENCES rule,
  is_on INTEGER NOT NULL, who TEXT NOT NULL, made INTEGER NOT NULL);
INSERT INTO rule_alarm VALUES(1,NULL,NULL,NULL,NULL,1,1,'import alarms.csv',1700000000);
INSERT INTO rule_alarm VALUES(2,NULL,NULL,NULL,NULL,20,1,'import alarms.csv',1700000000);
CREATE UNIQUE INDEX context_once ON context(
  ifnull(workstation, 0), ifnull(job, 0), ifnull(lot, 0), ifnull(shift, 0),
  ifnull(revision, 0), ifnull(employee, 0));
CREATE UNIQUE INDEX subgroup_once ON subgroup(time, part, process, label);
CREATE INDEX subgroup_descriptor_by_item ON subgroup_descriptor(descriptor, subgroup);
CREATE INDEX comment_by_subgroup ON comment(subgroup, time);
CREATE INDEX spec_limit_by_test ON spec_limit(part, test, effective);
CREATE INDEX control_limit_by_test ON control_limit(part, test, effective);
CREATE INDEX opportunity_by_test ON opportunity(part, test, effective);
COMMIT;
)sql";

}  // namespace orvspc::engine::store
