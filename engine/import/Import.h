// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Database.h"
#include "platform/Import.h"

// Files into a quality database. Each file is one transaction: all of it is stored or nothing.
//
// Common to all kinds: a header line names the columns, in any order and case; an unknown column is
// refused unless ignored. Separator, quoting and encoding as CsvReader says. Times are ISO 8601,
// UTC without a zone. A name that is new becomes a new part, process, test, job and so on, but
// alarms must speak of what is there. A cell that may be left out may also be empty.
//
// values         part process test subgroup time and one of value or count; optional tsno sbno size
//                flag job lot shift revision workstation employee gage serial defect comment
//                test-type (variable, defects, defectives) and descriptor:NAME.
//                A subgroup is one part, process, subgroup (label) and time. Each line of a
//                variable test is a piece: tsno 1, 2, ... in file order unless given; lines with an
//                sbno above 0 are readings within the piece, whose mean becomes its value unless a
//                line with sbno 0 gives one. Lines with a count add to the subgroup; count 0 stores
//                it with its one empty row, an empty count beside a defect is 1. Size is the number
//                of units inspected; without it a variable test has the number of its pieces, an
//                attribute test 0, not known. Flag is enabled, disabled, incomplete or 0, 1, 2.
//                With count and no test-type a new test whose lines name a defect is one of
//                defects, else of defectives. A comment belongs to the subgroup and test, and to
//                the piece if the line gives tsno. Refused too: a (subgroup, test) that is already
//                stored, the same piece twice, more defectives than units. Lines of a subgroup
//                may stand anywhere in the file.
// limits         part test and any of usl target lsl ugb lgb url lrl uwp lwp cp cpk effective scale
//                name alarms. Without effective they hold since ever. Scale is the number of
//                decimals shown, 4. Alarms names the limits that raise alarms ("usl lsl"), all that
//                are given by default, "none" for none. A later import for the same time takes
//                over.
// control-limits part test mean; optional process (none: any) sp spl sw swl effective start finish
//                chart-word (of the chart that they were made from, decimal or 0x...).
// opportunities  part test opportunities; optional effective.
// rules          number kind; optional k m zone side priority text and set (names of rule sets,
//                blanks between them). Numbers 0 to 14, 16 to 30, and one of 15 and 31 in a
//                database. A number keeps its parameters for life; a line about a rule that is
//                there may leave all of them but the kind open.
// alarms         number and on (yes, on, true, 1 or no, off, false, 0, in any case); optional part
//                process test graph (1 to 3), each none: any.
// groups         kind (part, process, ...), group and name.
// requirements   process test kind n: n samples in each interval of running time (kind interval,
//                with minutes, and grace minutes after it), or for each shift, lot or job. Optional
//                part (none: any), from and to (holds from the one up to and without the other)
//                and name (a new one; made of the rest unless given).
// defects        code; optional name (what the code stands for), group, factor (its weight, 1
//                unless given, not below 0). A code that is there already takes over what the line
//                gives. A code may have several lines, for several groups, whose names and factors
//                agree.
// acc-codes, cac-codes   the same for the codes of events.
// state-codes    code; optional name and factor; type (none start run pause end idle scheduled-down
//                unscheduled-down, or its number), needed for a new code.
// parts          part and factor, its weight: not below 0, 1 as long as none was given. Lines of
//                one part agree.
// processes      process and any of company division site department area production-unit, which
//                say where a process belongs; a process that is there takes over what is given.
// events         type (subgroup-alarm general sampling-violation subgroup-disable subgroup-delete
//                subgroup-edit downtime, or 1 to 7) and time; optional name end process part test
//                subgroup-time employee, acc acc-employee acc-time, cac cac-employee cac-time, and
//                open (acc, cac, both of them or none). No time may lie before that of the event.
//                Refused too: an event of the same type, name, time, process, part and test that is
//                already stored.
// states         process time state: from that time on the process is in that state. A new state
//                needs the column type. Refused too: a second state of a process at one time.
// net-contents   part test nominal (the labelled quantity); optional class (R87, HB133, own) and
//                quantity (mass unless given, volume length area count), mav, upper (yes: the upper
//                limits of the class too), any of mavl mavu t1l t1u t2l t2u, each with the percent
//                of packages allowed beyond it in a column ending in p, factor (values are
//                multiplied by it), effective and name. What is given holds; R87 derives t1l and
//                t2l of a mass from 5 to 10000 g, HB133 needs mav or mavl. Deficiencies that are
//                not settled for certain (other quantities, or one that would have to be rounded)
//                are refused.
namespace orvspc::engine::import {

using orvspc::ImportKind;
using orvspc::ImportOptions;
using orvspc::ImportReport;

// "values", "control-limits", ...
std::optional<ImportKind> ImportKindFromWord(std::string_view word);
// All of them, in the order of the enumeration.
std::vector<std::string_view> ImportKindWords();

// Throws platform::ExternalFailure with one line: file, line, column, value, reason. The database
// is then unchanged. Analyses on the same database go on meanwhile and see all of it or nothing.
ImportReport ImportCsv(const std::string& file, platform::Database& database, ImportKind kind,
                       const ImportOptions& options = {});

}  // namespace orvspc::engine::import
