-- SPDX-License-Identifier: Apache-2.0
-- Values in chunks: measurement holds the subgroups that came last and few others, each packed as a
-- chunk of one; measurement_chunk all that is sealed. subgroup and subgroup_block share the
-- subgroups alike: a block holds those whose identifiers differ in the lowest eight bits only.
-- counter has the last identifier given in each table.

CREATE TABLE counter(name TEXT PRIMARY KEY, last INTEGER NOT NULL);
INSERT INTO counter(name, last)
  SELECT 'part', coalesce(max(id), 0) FROM part
  UNION ALL SELECT 'process', coalesce(max(id), 0) FROM process
  UNION ALL SELECT 'test', coalesce(max(id), 0) FROM test
  UNION ALL SELECT 'revision', coalesce(max(id), 0) FROM revision
  UNION ALL SELECT 'workstation', coalesce(max(id), 0) FROM workstation
  UNION ALL SELECT 'gage', coalesce(max(id), 0) FROM gage
  UNION ALL SELECT 'job', coalesce(max(id), 0) FROM job
  UNION ALL SELECT 'lot', coalesce(max(id), 0) FROM lot
  UNION ALL SELECT 'shift', coalesce(max(id), 0) FROM shift
  UNION ALL SELECT 'employee', coalesce(max(id), 0) FROM employee
  UNION ALL SELECT 'defect', coalesce(max(id), 0) FROM defect
  UNION ALL SELECT 'serial', coalesce(max(id), 0) FROM serial
  UNION ALL SELECT 'item_group', coalesce(max(id), 0) FROM item_group
  UNION ALL SELECT 'descriptor_group', coalesce(max(id), 0) FROM descriptor_group
  UNION ALL SELECT 'descriptor', coalesce(max(id), 0) FROM descriptor
  UNION ALL SELECT 'stream', coalesce(max(id), 0) FROM stream
  UNION ALL SELECT 'context', coalesce(max(id), 0) FROM context
  UNION ALL SELECT 'subgroup', coalesce(max(id), 0) FROM subgroup
  UNION ALL SELECT 'comment', coalesce(max(id), 0) FROM comment
  UNION ALL SELECT 'spec_limit', coalesce(max(id), 0) FROM spec_limit
  UNION ALL SELECT 'control_limit', coalesce(max(id), 0) FROM control_limit
  UNION ALL SELECT 'opportunity', coalesce(max(id), 0) FROM opportunity
  UNION ALL SELECT 'rule_set', coalesce(max(id), 0) FROM rule_set
  UNION ALL SELECT 'rule_alarm', coalesce(max(id), 0) FROM rule_alarm
  UNION ALL SELECT 'setting', coalesce(max(id), 0) FROM setting
  UNION ALL SELECT 'acc_code', coalesce(max(id), 0) FROM acc_code
  UNION ALL SELECT 'cac_code', coalesce(max(id), 0) FROM cac_code
  UNION ALL SELECT 'state_code', coalesce(max(id), 0) FROM state_code
  UNION ALL SELECT 'event_name', coalesce(max(id), 0) FROM event_name
  UNION ALL SELECT 'company', coalesce(max(id), 0) FROM company
  UNION ALL SELECT 'division', coalesce(max(id), 0) FROM division
  UNION ALL SELECT 'site', coalesce(max(id), 0) FROM site
  UNION ALL SELECT 'department', coalesce(max(id), 0) FROM department
  UNION ALL SELECT 'area', coalesce(max(id), 0) FROM area
  UNION ALL SELECT 'production_unit', coalesce(max(id), 0) FROM production_unit
  UNION ALL SELECT 'event', coalesce(max(id), 0) FROM event
  UNION ALL SELECT 'net_content', coalesce(max(id), 0) FROM net_content
  UNION ALL SELECT 'requirement', coalesce(max(id), 0) FROM requirement;

-- The program moves the values and subgroups of an older database from here, compares comments and
-- descriptors, and drops the tables.
ALTER TABLE measurement RENAME TO measurement_2;
DROP INDEX subgroup_once;
ALTER TABLE subgroup RENAME TO subgroup_2;
DROP INDEX subgroup_descriptor_by_item;
ALTER TABLE subgroup_descriptor RENAME TO subgroup_descriptor_2;
DROP INDEX comment_by_subgroup;
ALTER TABLE comment RENAME TO comment_2;

CREATE TABLE subgroup(
  id INTEGER PRIMARY KEY, part INTEGER NOT NULL REFERENCES part,
  process INTEGER NOT NULL REFERENCES process, label TEXT NOT NULL, time INTEGER NOT NULL);
CREATE UNIQUE INDEX subgroup_once ON subgroup(time, part, process, label);

CREATE TABLE measurement(
  stream INTEGER NOT NULL REFERENCES stream, time INTEGER NOT NULL, subgroup INTEGER NOT NULL,
  packed BLOB NOT NULL, PRIMARY KEY(stream, time, subgroup)) WITHOUT ROWID;

CREATE TABLE measurement_chunk(
  stream INTEGER NOT NULL REFERENCES stream, first_time INTEGER NOT NULL,
  first_subgroup INTEGER NOT NULL, last_time INTEGER NOT NULL, last_subgroup INTEGER NOT NULL,
  count INTEGER NOT NULL, packed BLOB NOT NULL, PRIMARY KEY(stream, first_time, first_subgroup));

CREATE TABLE subgroup_block(block INTEGER PRIMARY KEY, packed BLOB NOT NULL);

-- Without references to subgroup, since a sealed one has no row there.
CREATE TABLE subgroup_descriptor(
  subgroup INTEGER NOT NULL, descriptor INTEGER NOT NULL REFERENCES descriptor,
  tsno INTEGER NOT NULL, PRIMARY KEY(subgroup, descriptor, tsno)) WITHOUT ROWID;
INSERT INTO subgroup_descriptor SELECT subgroup, descriptor, tsno FROM subgroup_descriptor_2
  ORDER BY subgroup, descriptor, tsno;
CREATE INDEX subgroup_descriptor_by_item ON subgroup_descriptor(descriptor, subgroup);

CREATE TABLE comment(
  id INTEGER PRIMARY KEY, subgroup INTEGER NOT NULL, test INTEGER REFERENCES test,
  tsno INTEGER NOT NULL, time INTEGER NOT NULL, employee INTEGER REFERENCES employee,
  note TEXT NOT NULL);
INSERT INTO comment SELECT id, subgroup, test, tsno, time, employee, note FROM comment_2 ORDER BY id;
CREATE INDEX comment_by_subgroup ON comment(subgroup, time);
