-- SPDX-License-Identifier: Apache-2.0
-- What Pareto, capability, states and compliance need beside the values: codes and parts with a
-- weight, the organisation of a process, events, the log of process states, net contents and
-- sampling requirements. In the code tables name is the code and text its meaning.

ALTER TABLE defect ADD COLUMN text TEXT NOT NULL DEFAULT '';
ALTER TABLE part ADD COLUMN factor REAL NOT NULL DEFAULT 1;

CREATE TABLE acc_code(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1,
  factor REAL NOT NULL DEFAULT 1, text TEXT NOT NULL DEFAULT '');
CREATE TABLE cac_code(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1,
  factor REAL NOT NULL DEFAULT 1, text TEXT NOT NULL DEFAULT '');
-- type is one of ProcessStateTypes.
CREATE TABLE state_code(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1,
  factor REAL NOT NULL DEFAULT 1, text TEXT NOT NULL DEFAULT '', type INTEGER NOT NULL DEFAULT 0
  CHECK(type IN (0, 1000, 2000, 3000, 4000, 5000, 6000, 7000)));
CREATE TABLE event_name(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);

CREATE TABLE company(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
CREATE TABLE division(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
CREATE TABLE site(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
CREATE TABLE department(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
CREATE TABLE area(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
CREATE TABLE production_unit(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1);
ALTER TABLE process ADD COLUMN company INTEGER REFERENCES company;
ALTER TABLE process ADD COLUMN division INTEGER REFERENCES division;
ALTER TABLE process ADD COLUMN site INTEGER REFERENCES site;
ALTER TABLE process ADD COLUMN department INTEGER REFERENCES department;
ALTER TABLE process ADD COLUMN area INTEGER REFERENCES area;
ALTER TABLE process ADD COLUMN production_unit INTEGER REFERENCES production_unit;

-- type is one of EventTypes, flag EventFlags. finish is the end where one was given.
CREATE TABLE event(
  id INTEGER PRIMARY KEY, type INTEGER NOT NULL CHECK(type BETWEEN 1 AND 7),
  name INTEGER REFERENCES event_name, time INTEGER NOT NULL, finish INTEGER,
  process INTEGER REFERENCES process, part INTEGER REFERENCES part, test INTEGER REFERENCES test,
  subgroup_time INTEGER, employee INTEGER REFERENCES employee,
  acc INTEGER REFERENCES acc_code, acc_employee INTEGER REFERENCES employee, acc_time INTEGER,
  cac INTEGER REFERENCES cac_code, cac_employee INTEGER REFERENCES employee, cac_time INTEGER,
  flag INTEGER NOT NULL DEFAULT 0 CHECK(flag BETWEEN 0 AND 3));
CREATE INDEX event_by_time ON event(time, id);

-- The state of a process from time on until its next row.
CREATE TABLE state_log(
  process INTEGER NOT NULL REFERENCES process, time INTEGER NOT NULL,
  state_code INTEGER NOT NULL REFERENCES state_code, PRIMARY KEY(process, time)) WITHOUT ROWID;
CREATE INDEX state_log_by_time ON state_log(time, process, state_code);

-- Either a class derives the figures from the nominal quantity, or those that are given hold.
-- unit is that of nominal; factor turns a value into it. with_upper asks for the upper
-- limits of a class too. The companions are percent of packages.
CREATE TABLE net_content(
  id INTEGER PRIMARY KEY, part INTEGER NOT NULL REFERENCES part,
  test INTEGER NOT NULL REFERENCES test, effective INTEGER NOT NULL,
  class TEXT NOT NULL CHECK(class IN ('R87', 'HB133', 'own')),
  quantity TEXT NOT NULL DEFAULT 'mass'
    CHECK(quantity IN ('mass', 'volume', 'length', 'area', 'count')),
  nominal REAL, mav REAL, with_upper INTEGER NOT NULL DEFAULT 0,
  mavl REAL, mavlp REAL, mavu REAL, mavup REAL, t1l REAL, t1lp REAL, t1u REAL, t1up REAL,
  t2l REAL, t2lp REAL, t2u REAL, t2up REAL,
  factor REAL NOT NULL DEFAULT 1, name TEXT NOT NULL DEFAULT '',
  who TEXT NOT NULL, made INTEGER NOT NULL);
CREATE INDEX net_content_by_test ON net_content(part, test, effective);

-- n samples every so many minutes, or for each shift, lot or job. Valid from valid_from up to and
-- without valid_to; null: without an end on that side.
CREATE TABLE requirement(
  id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, active INTEGER NOT NULL DEFAULT 1,
  part INTEGER REFERENCES part, process INTEGER NOT NULL REFERENCES process,
  test INTEGER NOT NULL REFERENCES test,
  kind TEXT NOT NULL CHECK(kind IN ('interval', 'shift', 'lot', 'job')),
  n INTEGER NOT NULL CHECK(n > 0), minutes INTEGER NOT NULL DEFAULT 0,
  grace INTEGER NOT NULL DEFAULT 0, valid_from INTEGER, valid_to INTEGER,
  who TEXT NOT NULL, made INTEGER NOT NULL);
CREATE INDEX requirement_by_process ON requirement(process, test);
