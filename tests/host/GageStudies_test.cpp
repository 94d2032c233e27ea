// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <string>

#include "tests/host/StudyTest.h"

// The studies of measurement systems and of sampling plans by the program.
namespace orvspc::host {
namespace {

using GageStudies = StudyTest;

TEST_F(GageStudies, GageOfAFile) {
  const auto found = Json("gage --tolerance 8 --data " + Sample("gage.csv"));
  EXPECT_EQ(found["Study"], "gage");
  EXPECT_EQ(found["Version"], 1);
  EXPECT_EQ(found["Options"]["Tolerance"]["From"], "command");
  EXPECT_EQ(found["Options"]["Pool"]["Value"], 0.25);
  EXPECT_TRUE(found["Selection"].is_null());
  EXPECT_EQ(found["Parts"], 10);
  EXPECT_EQ(found["Pooled"], true);
  EXPECT_EQ(found["NDC"], 4);
  const auto& rr = found["Components"][0];
  EXPECT_EQ(rr["Source"], "Gauge R&R");
  EXPECT_NEAR(rr["SD"]["Value"].get<double>(), 0.302372, 1e-6);
  EXPECT_NEAR(rr["PctTolerance"].get<double>(), 100.0 * 6.0 * 0.302372 / 8.0, 1e-3);
  EXPECT_EQ(found["Judgement"]["Study"], "marginal");
  EXPECT_EQ(found["Cells"].size(), 30U);
  EXPECT_EQ(found["Cells"][0]["Values"].size(), 3U);
  EXPECT_EQ(Json("gage --method average-range --tables --data " + Sample("gage.csv"))["NDC"], 5);
  EXPECT_EQ(Json("gage --method nested --data " + Sample("gage-nested.csv"))["Parts"], 5);
}

TEST_F(GageStudies, EveryFormat) {
  for (const char* study :
       {"gage --tolerance 8 --data gage", "linearity --data linearity", "bias --data linearity",
        "agreement --data agreement", "type1 --reference 25 --tolerance 0.03 --data type1"}) {
    const std::string words(study);
    const auto at = words.rfind(' ') + 1;
    const auto line = "study " + words.substr(0, at) + Sample(words.substr(at) + ".csv");
    EXPECT_EQ(Run(line).status, 0) << line;
    for (const char* file : {"a.svg", "a.html", "a.json", "a.txt"}) {
      EXPECT_EQ(Run(line + " -o " + file).status, 0) << line;
      EXPECT_EQ(Text(folder_.File(file)).find("nan"), std::string::npos) << line << file;
    }
  }
}

// What a picture says beside lines and below axes is there whole.
TEST_F(GageStudies, LabelsOfPicturesAreWhole) {
  const struct {
    const char* arguments;
    std::vector<const char*> texts;
  } rows[] = {
      {"gage --tolerance 8 --data ",
       {"gage.csv", ">Repeatability<", ">Reproducibility<", ">Operator<", ">CL 0.001444<",
        ">LCL -0.3482<", ">points outside the limits are good<"}},
      {"type1 --reference 25 --tolerance 0.03 --data ", {"type1.csv", ">mean 25.0008<"}},
      {"linearity --process-sd 2.5 --data ", {"linearity.csv", "process SD 2.5"}},
      {"plan --lot-size 10000", {"", ">AOQL 0.0145<"}},
  };
  for (const auto& row : rows) {
    const std::string file(row.texts[0]);
    const auto line = std::string("study ") + row.arguments + (file.empty() ? "" : Sample(file));
    ASSERT_EQ(Run(line + " -o a.svg").status, 0) << line;
    const auto picture = Text(folder_.File("a.svg"));
    for (std::size_t i = 1; i < row.texts.size(); ++i) {
      EXPECT_NE(picture.find(row.texts[i]), std::string::npos) << row.texts[i];
    }
    EXPECT_EQ(picture.find("…"), std::string::npos) << line;
  }
}

TEST_F(GageStudies, GageOfADatabase) {
  std::string csv = "part,process,test,subgroup,time,serial,employee,value\n";
  int minute = 0;
  for (const char* by : {"Ann", "Bob"})
    for (int part = 1; part <= 5; ++part)
      for (int trial = 0; trial < 2; ++trial) {
        const auto value = std::to_string(part + 0.1 * trial + (by[0] == 'A' ? 0.0 : 0.2));
        const auto at = std::to_string(10 + minute++);
        csv += "Ring,Press,Diameter," + at + ",2024-05-02T08:" + at + ":00,S" +
               std::to_string(part) + "," + by + "," + value + "\n";
      }
  Write("v.csv", csv);
  Write("l.csv", "part,test,usl,lsl\nRing,Diameter,10,-2\n");
  ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  ASSERT_EQ(Run("import l.csv --kind limits --db q.db").status, 0);
  const auto found = Json("gage --db q.db --part Ring --test Diameter");
  EXPECT_EQ(found["Parts"], 5);
  EXPECT_EQ(found["Operators"], 2);
  EXPECT_EQ(found["Trials"], 2);
  EXPECT_EQ(found["Options"]["USL"]["Value"], 10.0);
  EXPECT_EQ(found["Options"]["USL"]["From"], "database");
  const auto& rr = found["Components"][0];
  EXPECT_NEAR(rr["PctTolerance"].get<double>(), 50.0 * rr["SD"]["Value"].get<double>(), 1e-9);
  EXPECT_FALSE(found["Selection"].is_null());
  // Readings of one part, by its serial number: 3, 3.1, 3.2 and 3.3.
  const std::string of_all = "bias --db q.db --part Ring --test Diameter --reference 3";
  Refused(
      of_all, 1,
      "there are readings of 5 serial numbers; the study takes one part, which --piece chooses");
  Refused(
      "type1 --db q.db --part Ring --test Diameter --reference 3", 1,
      "there are readings of 5 serial numbers; the study takes one part, which --piece chooses");
  Refused(of_all + " --piece S9", 1, "no piece that is selected has the serial number S9");
  const auto bias = Json(of_all + " --piece S3");
  EXPECT_EQ(bias["Options"]["Piece"]["Value"], "S3");
  EXPECT_EQ(bias["Biases"][0]["N"], 4);
  EXPECT_NEAR(bias["Biases"][0]["Bias"]["Value"].get<double>(), 0.15, 1e-9);
}

TEST_F(GageStudies, ADatabaseGivesTheReadingsThatChartsUse) {
  std::string csv = "part,process,test,subgroup,time,flag,value\n";
  const auto add = [&](int minute, const char* flag, const char* value) {
    const auto at = std::to_string(minute);
    csv +=
        "Ring,Press,Diameter," + at + ",2024-05-02T08:" + at + ":00," + flag + "," + value + "\n";
  };
  for (int minute = 10; minute < 20; ++minute) add(minute, "enabled", minute % 2 == 0 ? "2" : "4");
  add(20, "disabled", "100");
  add(21, "disabled", "102");
  add(22, "incomplete", "200");
  add(23, "enabled", "300");
  Write("v.csv", csv);
  ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  ASSERT_EQ(Run("phase add --part Ring --name Trouble --kind excluded --start 2024-05-02T08:23:00 "
                "--reason jam --by Ann --db q.db")
                .status,
            0);
  const std::string bias = "bias --reference 3 --db q.db --part Ring --test Diameter";
  const auto note_of = [](const nlohmann::json& found) {
    for (const auto& note : found["Notes"]) {
      if (note["Code"] == "readings-left-out") return note["Text"].get<std::string>();
    }
    return std::string();
  };
  auto found = Json(bias);
  EXPECT_EQ(found["Biases"][0]["N"], 10);
  EXPECT_NEAR(found["Biases"][0]["Bias"]["Value"].get<double>(), 0.0, 1e-12);
  EXPECT_EQ(note_of(found),
            "4 of 14 readings are left out: 2 disabled, 1 incomplete, 1 of an excluded phase");
  // As on charts, those that are asked for without enabled ones count.
  found = Json(bias + " --state disabled");
  EXPECT_EQ(found["Biases"][0]["N"], 2);
  EXPECT_EQ(found["Biases"][0]["Bias"]["Value"], 98.0);
  EXPECT_EQ(note_of(found), "");
  EXPECT_EQ(note_of(Json(bias + " --state enabled,incomplete")),
            "2 of 12 readings are left out: 1 incomplete, 1 of an excluded phase");
  const auto none = Run("study " + bias + " --since 2024-05-02T08:22:30 --format json");
  EXPECT_EQ(none.err, "1 of 1 readings are left out: 1 of an excluded phase\n");
}

TEST_F(GageStudies, ReadingsAreThoseOfOneStream) {
  Write("v.csv",
        "part,process,test,subgroup,time,flag,value\n"
        "Ring,Press,Diameter,1,2024-05-02T08:01:00,enabled,1\n"
        "Ring,Lathe,Diameter,2,2024-05-02T08:02:00,enabled,2\n"
        "Disc,Lathe,Diameter,3,2024-05-02T08:03:00,enabled,3\n"
        "Disc,Press,Diameter,4,2024-05-02T08:04:00,disabled,3\n");
  ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  const std::string bias = "bias --reference 3 --db q.db ";
  Refused(bias + "--part Ring", 1, "several processes are selected; --process chooses one");
  Refused(bias, 1, "several parts and processes are selected; --part and --process choose one");
  EXPECT_EQ(Run("study " + bias + "--part Ring --process Press").status, 0);
  // The other one is left out.
  EXPECT_EQ(Run("study " + bias + "--part Disc").status, 0);
}

TEST_F(GageStudies, EachLimitThatIsNotGivenIsThatOfTheDatabase) {
  std::string csv = "part,process,test,subgroup,time,value\n";
  for (int i = 10; i < 40; ++i) {
    csv += "Ring,Press,Diameter," + std::to_string(i) + ",2024-05-02T08:" + std::to_string(i) +
           ":00," + std::to_string(i % 3) + "\n";
  }
  Write("v.csv", csv);
  Write("l.csv", "part,test,usl,lsl\nRing,Diameter,10,-2\n");
  ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  ASSERT_EQ(Run("import l.csv --kind limits --db q.db").status, 0);
  const std::string type1 = "type1 --reference 1 --db q.db ";
  const auto of = [&](const std::string& option, const char* key) {
    return Json(type1 + option)["Options"][key];
  };
  EXPECT_EQ(of("", "Tolerance")["Value"], 12.0);
  EXPECT_EQ(of("--usl 9", "Tolerance")["Value"], 11.0);
  EXPECT_EQ(of("--usl 9", "USL")["From"], "command");
  EXPECT_EQ(of("--usl 9", "LSL")["Value"], -2.0);
  EXPECT_EQ(of("--usl 9", "LSL")["From"], "database");
  EXPECT_EQ(of("--lsl 1", "Tolerance")["Value"], 9.0);
  EXPECT_EQ(of("--tolerance 3", "LSL")["From"], "default");
  Refused(type1 + "--usl -3", 2, "--usl must lie above the lower limit of the database, -2");
  Refused(type1 + "--lsl 10", 2, "--lsl must lie below the upper limit of the database, 10");
}

TEST_F(GageStudies, ATrialOfAFileIsItsColumn) {
  const auto kappa = [&](const char* heading) {
    std::string csv = std::string("part,operator,rating,") + heading + "\n";
    for (int part = 1; part <= 10; ++part) {
      const auto item = std::to_string(part);
      const std::string one = part % 2 == 0 ? "y" : "n", two = part % 3 == 0 ? "y" : "n";
      csv += item + ",Ann," + one + ",1\n" + item + ",Ann," + two + ",2\n";
      csv += item + ",Bob," + two + ",2\n" + item + ",Bob," + one + ",1\n";
    }
    Write("a.csv", csv);
    const auto found = Json("agreement --data a.csv");
    return found["Kappa"].back()["Value"].get<double>();
  };
  EXPECT_NEAR(kappa("trial"), 1.0, 1e-12);
  EXPECT_LT(kappa("remark"), 0.9);
}

TEST_F(GageStudies, AType1StudyAndABiasAreOfOnePart) {
  std::string csv = "part,value\n", of_references = "part,reference,value\n";
  for (int i = 0; i < 30; ++i) {
    const auto up = std::to_string(i % 3);
    csv += "A,1" + up + "\nB,2" + up + "\n";
    of_references += "A,10,1" + up + "\nB,20,2" + up + "\n";
  }
  Write("a.csv", csv);
  const std::string several = "there are readings of 2 parts", one = "; the study takes one part, ";
  const auto refused = "a.csv: " + several + one + "which --piece chooses";
  const std::string type1 = "type1 --tolerance 20 --reference 20 --data a.csv";
  const std::string bias = "bias --reference 20 --data a.csv";
  Refused(type1, 1, refused);
  Refused(bias, 1, refused);
  Refused(bias + " --piece C", 1, "a.csv: there are no readings of part C");
  EXPECT_EQ(Json(type1 + " --piece B")["N"], 30);
  EXPECT_NEAR(Json(type1 + " --piece B")["Mean"].get<double>(), 21.0, 1e-12);
  EXPECT_NEAR(Json(bias + " --piece A")["Biases"][0]["Bias"]["Value"].get<double>(), -9.0, 1e-12);

  // Of several references each is that of one part.
  Write("a.csv", of_references);
  const std::string by_column = "bias --data a.csv";
  EXPECT_EQ(Json(by_column)["Biases"].size(), 2U);
  EXPECT_EQ(Json(by_column + " --piece B")["Biases"][0]["Reference"], 20.0);
  Refused(bias, 1, refused);
  Write("a.csv", of_references + "C,20,21\n");
  Refused(by_column, 1,
          "a.csv: " + several + " with the reference 20" + one + "which --piece chooses");
  // A line that is not of the part may have another reference, one that is may not.
  EXPECT_EQ(Json("type1 --tolerance 20 --piece A --data a.csv")["N"], 30);
  Write("a.csv", "part,reference,value\nA,1,1\nB,2,2\nB,3,2\n");
  Refused("type1 --tolerance 1 --piece B --data a.csv", 1,
          "a.csv: line 4, column \"reference\", value \"3\": differs from the first reading's; the "
          "study takes one part");
  Write("a.csv", "value\n1\n2\n");
  Refused("bias --reference 1 --piece A --data a.csv", 1,
          "a.csv: line 1: there is no column \"part\"");
  Refused("bias --mean 1 --sd 1 --n 5 --reference 1 --piece A", 2,
          "--piece does not go with --mean, --sd and --n");
}

TEST_F(GageStudies, WrongFilesAreRefusedWithTheirPlace) {
  Write("a.csv", "part,operator,trial,value\n1,A,1,2\n1,A,2,x\n");
  Refused("gage --data a.csv", 1, "a.csv: line 3, column \"value\", value \"x\": is no number");
  Write("a.csv", "part,operator,trial,value\n1,A,1,2\n1,A,1,3\n");
  Refused("gage --data a.csv", 1,
          "a.csv: line 3, column \"trial\", value \"1\": part 1 and operator A have this trial "
          "already");
  Write("a.csv", "part,operator,value\n1,A,2\n1,A,3\n1,B,2\n1,B,3\n2,A,1\n2,A,2\n2,B,1\n");
  Refused("gage --data a.csv", 1, "a.csv: operator B has 1 reading of part 2, others have 2");
  Write("a.csv", "part,value\n1,2\n");
  Refused("gage --data a.csv", 1, "a.csv: line 1: there is no column \"operator\"");
  Write("a.csv", "reference,value\n1,2\n2,2\n");
  Refused("type1 --tolerance 1 --data a.csv", 1,
          "a.csv: line 3, column \"reference\", value \"2\": differs from the first reading's; the "
          "study takes one part");
  Write("a.csv", "part,operator,rating,reference\n1,A,y,y\n1,B,y,n\n");
  Refused("agreement --data a.csv", 1,
          "a.csv: line 3, column \"reference\", value \"n\": part 1 has another reference in an "
          "earlier line");
}

TEST_F(GageStudies, Misuse) {
  Write("a.csv", "part,operator,value\n1,A,2\n");
  Refused("gage", 2, "--data FILE.csv or --db FILE is missing");
  Refused("gage --data a.csv --db q.db", 2, "--data and --db do not go together");
  Refused("gage --data a.csv --part Ring", 2, "--part Ring goes with --db");
  Refused("gage --data a.csv --tolerance 0", 2,
          "--tolerance takes a number above 0 to below 1e+300, not 0");
  Refused("gage --data a.csv --pool often", 2,
          "--pool takes always, never or a number from 0 to 1, not \"often\"");
  Refused("gage --data a.csv --method nested --pool never", 2, "--pool goes with --method anova");
  Refused("type1 --data a.csv --reference 1", 2, "--tolerance, or --usl and --lsl, are missing");
  Refused("bias --mean 1 --reference 1", 2, "--mean, --sd and --n go together");
  Refused("plan --aql 0.06", 2, "--rql takes a number above --aql to below 1, not 0.05");
  Refused("plan --aql 1", 2, "--aql takes a number above 0 to below 1, not 1");
  Refused("plan --n 50", 2, "--c is missing");
  Refused("plan --n 50 --c 1 --lot-size 20", 2,
          "--lot-size takes a number from the samples on, which are 50, not 20");
}

TEST_F(GageStudies, Plans) {
  const auto single = Json("plan --aql 0.01 --alpha 0.05 --rql 0.05 --beta 0.1");
  EXPECT_EQ(single["N"], 132);
  EXPECT_EQ(single["C"], 3);
  EXPECT_EQ(single["P"].size(), single["OC"].size());
  EXPECT_TRUE(single["ATI"][0].is_null());
  EXPECT_NEAR(single["Risks"]["Producer"].get<double>(), 0.0442525, 1e-6);
  const auto given = Json("plan --n 52 --c 3 --lot-size 10000");
  EXPECT_NEAR(given["AOQL"].get<double>(), 0.0371901, 1e-6);
  EXPECT_EQ(given["ATI"][0], 52.0);
  EXPECT_TRUE(given["Risks"]["Producer"].is_null());
  EXPECT_EQ(Json("plan --variables unknown --rql 0.06")["N"], 42);
  EXPECT_EQ(Json("plan --double twice")["N2"].get<int>(),
            2 * Json("plan --double twice")["N1"].get<int>());
  EXPECT_EQ(Json("plan --lot-size 200")["Model"], "hypergeometric");
  const auto none = Json("plan --aql 0.01 --rql 0.0101 --alpha 0.001 --beta 0.001");
  EXPECT_TRUE(none["N"].is_null());
  EXPECT_EQ(none["Notes"][0]["Code"], "no-plan");
  EXPECT_EQ(
      none["Notes"][0]["Text"],
      "No plan with samples up to 1000000 and acceptance numbers up to 1000 keeps within both "
      "risks; points that lie further apart have one.");
  EXPECT_EQ(Json("plan --double equal --aql 0.01 --rql 0.013")["Notes"][0]["Text"],
            "No plan with samples up to 1000000 and acceptance numbers up to 60 keeps within both "
            "risks; points that lie further apart have one.");
  // Shares that the lot can have, and none above the limit.
  const auto small = Json("plan --n 30 --c 1 --lot-size 50");
  EXPECT_NEAR(small["AOQL"].get<double>(), 0.01032, 5e-6);
  EXPECT_EQ(small["AOQLAt"], 0.04);
  for (std::size_t i = 0; i < small["P"].size(); ++i) {
    EXPECT_EQ(small["P"][i], static_cast<double>(i) / 50.0);
    EXPECT_LE(small["AOQ"][i], small["AOQL"]);
  }
  EXPECT_EQ(Json("plan --lot-size 1318")["N"], 132);
  EXPECT_TRUE(single["Decision"].is_null());
}

TEST_F(GageStudies, APlanOfMeasurementsIsOfAnUnknownSigma) {
  const auto plan = Json("plan --n 42 --k 1.905");
  EXPECT_EQ(plan["N"], 42);
  EXPECT_EQ(plan["K"], 1.905);
  EXPECT_EQ(plan["SigmaKnown"], false);
  EXPECT_EQ(plan["Options"]["Variables"]["Value"], "unknown");
  EXPECT_EQ(plan["Options"]["Variables"]["From"], "default");
  EXPECT_EQ(plan["OC"], Json("plan --n 42 --k 1.905 --variables unknown")["OC"]);
  EXPECT_EQ(Json("plan --n 42 --k 1.905 --variables known")["SigmaKnown"], true);
}

// Of defects shares are defects a unit. The limit is of 5 or fewer defects in one unit: the top of
// x P(at most 5), with a mean of x.
TEST_F(GageStudies, CurvesOfDefectsRunAboveOneAUnit) {
  const auto plan = Json("plan --defects --n 1 --c 5");
  EXPECT_NEAR(plan["AOQL"].get<double>(), 3.1681848, 1e-7);
  EXPECT_NEAR(plan["AOQLAt"].get<double>(), 4.3490, 1e-4);
  EXPECT_GT(plan["P"].back(), plan["AOQLAt"]);
  EXPECT_NEAR(plan["OC"].back().get<double>(), 0.002, 1e-6);
  for (const auto& aoq : plan["AOQ"]) EXPECT_LE(aoq, plan["AOQL"]);
  EXPECT_EQ(Json("plan --defects --n 1 --c 5 --to 3")["P"].back(), 3.0);
  Refused("plan --n 50 --c 2 --to 3", 2, "--to takes a number above 0 to below 1, not 3");
}

TEST_F(GageStudies, APlanSaysWhatOfALotIsLeftOut) {
  std::string csv = "part,process,test,subgroup,time,lot,flag,size,test-type,count\n";
  const auto add = [&](const char* test, const char* type, int hour, const char* rest) {
    const auto at = std::to_string(hour);
    csv += std::string("Can,Seamer,") + test + "," + at + ",2024-05-02T" + at + ":00:00," + rest;
    csv.insert(csv.rfind(','), std::string(",") + type);
    csv += "\n";
  };
  add("Leaks", "defectives", 10, "L1,enabled,25,1");
  add("Leaks", "defectives", 11, "L1,disabled,25,2");
  add("Leaks", "defectives", 12, "L1,incomplete,30,1");
  add("Leaks", "defectives", 13, "L1,enabled,25,0");
  add("Leaks", "defectives", 14, "L1,disabled,,0");
  add("Leaks", "defectives", 15, "L1,enabled,10,1");
  add("Dents", "defects", 10, "L1,enabled,1.5,1");
  add("Dents", "defects", 11, "L1,disabled,0.4,3");
  Write("c.csv", csv);
  ASSERT_EQ(Run("import c.csv --db q.db").status, 0);
  ASSERT_EQ(Run("phase add --part Can --name Trouble --kind excluded --start 2024-05-02T14:30:00 "
                "--reason jam --by Ann --db q.db")
                .status,
            0);
  const std::string lot = " --db q.db --lot L1";
  const auto found = Json("plan --n 50 --c 2" + lot);
  EXPECT_EQ(found["Decision"]["Verdict"], "take");
  EXPECT_EQ(found["Decision"]["Reason"], "1 bad unit in 50 units, the plan takes at most 2");
  EXPECT_EQ(found["Decision"]["Subgroups"], 2);
  EXPECT_EQ(found["Notes"][0]["Code"], "subgroups-left-out") << found["Notes"].dump();
  EXPECT_EQ(found["Notes"][0]["Text"],
            "4 of 6 subgroups are left out, with 4 bad units in 65 units and 1 subgroup of unknown "
            "size: 2 disabled, 1 incomplete, 1 of an excluded phase");
  EXPECT_EQ(found["Notes"][1]["Code"], "advice-only");
  const auto defects = Json("plan --defects --n 2 --c 3" + lot);
  EXPECT_EQ(defects["Decision"]["Units"], 1.5);
  EXPECT_EQ(defects["Decision"]["Reason"],
            "1 defect in 1.5 units, the plan takes at most 3 in 2; 0.5 more are to be inspected");
  EXPECT_EQ(defects["Notes"].size(), 2U) << defects["Notes"].dump();
  EXPECT_EQ(defects["Notes"][0]["Text"],
            "1 of 2 subgroups are left out, with 3 defects in 0.4 units: 1 disabled");
  const auto text = Run("study plan --defects --n 2 --c 3" + lot).out;
  EXPECT_NE(text.find(" 1.5 "), std::string::npos) << text;
  // Disabled ones that are asked for alone count.
  const auto disabled = Json("plan --n 25 --c 2 --state disabled" + lot);
  EXPECT_EQ(disabled["Decision"]["Found"], 2);
  EXPECT_EQ(disabled["Notes"].size(), 1U) << disabled["Notes"].dump();
}

TEST_F(GageStudies, APlanSaysWhatItSaysOfAStoredLot) {
  std::string csv = "part,process,test,subgroup,time,lot,size,test-type,count\n";
  const auto add = [&](const char* process, int hour, const char* lot, int count) {
    csv += std::string("Can,") + process + ",Leaks," + std::to_string(hour) + ",2024-05-02T" +
           std::to_string(hour) + ":00:00," + lot + ",25,defectives," + std::to_string(count) +
           "\n";
  };
  add("Seamer", 10, "L1", 1);
  add("Seamer", 11, "L1", 1);
  add("Seamer", 12, "L2", 3);
  add("Seamer", 13, "L3", 0);
  add("Seamer", 14, "L4", 0);
  add("Other", 15, "L4", 0);
  Write("c.csv", csv);
  ASSERT_EQ(Run("import c.csv --db q.db").status, 0);
  const auto plan = std::string("plan --n 50 --c 2 --db q.db --part Can --test Leaks --lot ");
  const auto taken = Json(plan + "L1");
  EXPECT_EQ(taken["Decision"]["Lot"], "L1");
  EXPECT_EQ(taken["Decision"]["Stream"], "Can / Seamer / Leaks");
  EXPECT_EQ(taken["Decision"]["Subgroups"], 2);
  EXPECT_EQ(taken["Decision"]["Units"], 50);
  EXPECT_EQ(taken["Decision"]["Found"], 2);
  EXPECT_EQ(taken["Decision"]["Verdict"], "take");
  EXPECT_EQ(taken["Decision"]["Reason"], "2 bad units in 50 units, the plan takes at most 2");
  EXPECT_FALSE(taken["Selection"].is_null());
  EXPECT_EQ(taken["Notes"][0]["Code"], "advice-only");
  EXPECT_EQ(Json(plan + "L2")["Decision"]["Verdict"], "refuse");
  EXPECT_EQ(Json(plan + "L3")["Decision"]["Verdict"], "undecided");
  const auto text = Run("study " + plan + "L2").out;
  EXPECT_NE(text.find("3 bad units in 25 units"), std::string::npos) << text;
  EXPECT_EQ(Json("plan --n1 25 --c1 0 --n2 25 --c2 2 --db q.db --lot L3")["Decision"]["Verdict"],
            "take");
  Refused(plan + "L4", 1,
          "the lot has values of 2 streams; --part, --process and --test choose one");
  EXPECT_EQ(Json(plan + "L4 --process Other")["Decision"]["Units"], 25);
  EXPECT_TRUE(Json(plan + "L1 --since 2030-01-01")["Decision"].is_null());
  Refused("plan --n 50 --c 2 --db q.db", 2, "--db needs --lot NAME, one lot");
  Refused("plan --n 50 --c 2 --lot L1", 2, "--lot L1 goes with --db");
  Refused("plan --n 50 --k 2 --db q.db --lot L1", 2, "--k does not go with --db, which has counts");
}

TEST_F(GageStudies, APlanCountsBadUnitsWithoutASize) {
  std::string csv = "part,process,test,subgroup,time,lot,size,test-type,count\n";
  const auto add = [&](const char* test, const char* type, int hour, const char* lot,
                       const char* size, int count) {
    csv += std::string("Can,Seamer,") + test + "," + std::to_string(hour) + ",2024-05-02T" +
           std::to_string(hour) + ":00:00," + lot + "," + size + "," + type + "," +
           std::to_string(count) + "\n";
  };
  add("Leaks", "defectives", 10, "L1", "25", 0);
  add("Leaks", "defectives", 11, "L1", "", 3);
  add("Leaks", "defectives", 12, "L2", "50", 1);
  add("Leaks", "defectives", 13, "L3", "", 0);
  add("Leaks", "defectives", 14, "L3", "50", 1);
  add("Dents", "defects", 15, "L4", "", 2);
  add("Dents", "defects", 16, "L4", "50", 0);
  Write("c.csv", csv);
  ASSERT_EQ(Run("import c.csv --db q.db").status, 0);
  const auto plan = std::string("plan --n 50 --c 2 --db q.db --lot ");
  const auto refused = Json(plan + "L1");
  EXPECT_EQ(refused["Decision"]["Verdict"], "refuse");
  EXPECT_EQ(refused["Decision"]["Reason"],
            "3 bad units in 25 units and 1 subgroup of unknown size, the plan takes at most 2");
  EXPECT_EQ(refused["Decision"]["Subgroups"], 2);
  EXPECT_EQ(refused["Decision"]["Units"], 25);
  EXPECT_EQ(refused["Decision"]["Found"], 3);
  EXPECT_EQ(refused["Notes"].size(), 1U) << refused["Notes"].dump();
  EXPECT_EQ(Json(plan + "L2")["Decision"]["Verdict"], "take");
  EXPECT_EQ(Json(plan + "L3")["Decision"]["Verdict"], "undecided");
  const auto defects = Json(plan + "L4 --defects");
  EXPECT_EQ(defects["Decision"]["Verdict"], "undecided");
  EXPECT_EQ(defects["Decision"]["Found"], 2);
  EXPECT_EQ(defects["Notes"].size(), 1U) << defects["Notes"].dump();
}

}  // namespace
}  // namespace orvspc::host
