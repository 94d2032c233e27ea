' SPDX-License-Identifier: Apache-2.0
' The walk of a late-bound host: settings, the five analyses over sample.db, every row of the
' results, texts, enumeration, default members and the library's failures. Sections and lines have
' the names that the compiled walk gives them.
Dim database
Set database = MakeOfEngine("Database")
database.Open "sample.db"

Function Find(kind, name)
  Find = database.Find(kind, name)
End Function

Function Selection(part)
  Dim chosen, descriptor
  Set chosen = Make("DataSelect")
  chosen.MaximumItems = 1000
  chosen.DateRangeInterval = 0
  chosen.IncludeDefectTests = True
  chosen.IncludeDefectiveTests = True
  If part <> "" Then
    Set descriptor = chosen.Descriptors.Add(0)
    descriptor.AddItemID Find("part", part)
  End If
  Set Selection = chosen
End Function

Sub SetRange(chosen, first, last)
  chosen.DateRangeTimeType = 20
  chosen.DateRangeStart = first
  chosen.DateRangeEnd = last
End Sub

' --- Rows ---------------------------------------------------------------------------------------

Sub Rows(name, o, title)
  Dim row, moved
  Section title
  If o Is Nothing Then Exit Sub
  Reads name, o
  row = 2
  moved = o.MoveNext
  Tell name & ".MoveNext", moved
  Do While moved
    Section title & " " & row
    Properties name, o
    moved = o.MoveNext
    Tell name & ".MoveNext", moved
    row = row + 1
  Loop
  Section title & ", moves"
  moved = o.MoveNext : Tell name & ".MoveNext", moved
  moved = o.CurrentIndex : Tell name & ".CurrentIndex", moved
  moved = o.MovePrev : Tell name & ".MovePrev", moved
  moved = o.CurrentIndex : Tell name & ".CurrentIndex", moved
  moved = o.MoveFirst : Tell name & ".MoveFirst", moved
  moved = o.MovePrev : Tell name & ".MovePrev", moved
  moved = o.CurrentIndex : Tell name & ".CurrentIndex", moved
  moved = o.MoveLast : Tell name & ".MoveLast", moved
  moved = o.CurrentIndex : Tell name & ".CurrentIndex", moved
  o.MoveFirst
End Sub

Sub List(name, o)
  Dim moved
  If o Is Nothing Then Exit Sub
  moved = o.MoveFirst
  Tell name & ".MoveFirst", moved
  Do While moved
    Properties name, o
    moved = o.MoveNext
    Tell name & ".MoveNext", moved
  Loop
End Sub

Sub TellText(name, o)
  Dim text
  On Error Resume Next
  text = o.GetXML
  Tell name & ".GetXML", text
End Sub

Sub Stored(name, o)
  Dim text, again
  text = o.GetXML : Tell name & ".GetXML", text
  Set again = Make(name)
  Tell name & ".SetXML", again.SetXML(text)
  Reads name, again
  Tell name & ".GetXML", again.GetXML
End Sub

' --- Settings -----------------------------------------------------------------------------------

Dim each_class, o
For Each each_class In Array("DataSelect", "CCProcessing", "CAProcessing", "PAProcessing")
  Section each_class & ", new"
  Reads each_class, Make(each_class)
Next

Sub LetEach()
  Dim v
  On Error Resume Next
  Section "CCProcessing, set"
  Set o = Make("CCProcessing")
  o.Graph1Type = 1 : TellLet "CCProcessing.Graph1Type", 1
  Tell "CCProcessing.Graph1Type", o.Graph1Type
  o.Graph1Type = 99 : TellLet "CCProcessing.Graph1Type", 99
  Tell "CCProcessing.Graph1Type", o.Graph1Type
  o.Individuals = True : TellLet "CCProcessing.Individuals", True
  Tell "CCProcessing.Individuals", o.Individuals
  o.AQLValue = 12.5 : TellLet "CCProcessing.AQLValue", 12.5
  Tell "CCProcessing.AQLValue", o.AQLValue
  o.AQLValue = -3 : TellLet "CCProcessing.AQLValue", -3
  Tell "CCProcessing.AQLValue", o.AQLValue
  Section "DataSelect, set"
  Set o = Make("DataSelect")
  o.MaximumItems = 7 : TellLet "DataSelect.MaximumItems", 7
  Tell "DataSelect.MaximumItems", o.MaximumItems
  o.MaximumItems = -1 : TellLet "DataSelect.MaximumItems", -1
  Tell "DataSelect.MaximumItems", o.MaximumItems
  o.DateRangeStart = 45000.25 : TellLet "DataSelect.DateRangeStart", CDbl(45000.25)
  v = o.DateRangeStart : Tell "DataSelect.DateRangeStart", v
  Section "PAProcessing, set"
  Set o = Make("PAProcessing")
  For Each v In Array(1, 99)
    o.BinTypeMajor = v : TellLet "PAProcessing.BinTypeMajor", v
    Tell "PAProcessing.BinTypeMajor", o.BinTypeMajor
    o.BinTypeMinor = v : TellLet "PAProcessing.BinTypeMinor", v
    Tell "PAProcessing.BinTypeMinor", o.BinTypeMinor
  Next
  For v = -1 To 6
    Tell "PAProcessing.BinType(" & v & ")", o.BinType(v)
    o.BinType(v) = v + 2 : TellLet "PAProcessing.BinType(" & v & ")", v + 2
    Tell "PAProcessing.BinType(" & v & ")", o.BinType(v)
  Next
  For v = 0 To 5
    Tell "PAProcessing.BinTypeID(" & v & ")", o.BinTypeID(v)
    o.BinTypeID(v) = v + 2 : TellLet "PAProcessing.BinTypeID(" & v & ")", v + 2
    Tell "PAProcessing.BinTypeID(" & v & ")", o.BinTypeID(v)
  Next
End Sub
LetEach

' --- Descriptors: enumeration and default members -----------------------------------------------

Sub Descriptors()
  Dim chosen, all, part, found, v
  Section "descriptors"
  Set chosen = Make("DataSelect")
  Set all = chosen.Descriptors
  Set part = all.Add(0) : Tell "DataSelectDescriptors.Add(0)", part
  Set v = all.Add(2) : Tell "DataSelectDescriptors.Add(2)", v
  Set v = all.Add(8) : Tell "DataSelectDescriptors.Add(8)", v
  Set v = all.Add(8) : Tell "DataSelectDescriptors.Add(8)", v
  On Error Resume Next
  v = Empty : Set v = all.Add(2) : Tell "DataSelectDescriptors.Add(2)", v
  On Error Goto 0
  Tell "DataSelectDescriptors.Count", all.Count
  Section "descriptors, items"
  part.AddItemID 12 : part.AddItemID 7 : part.AddItemID 7 : part.AddItemID 0
  Reads "DataSelectDescriptor", part
  For v = 0 To 5
    Tell "DataSelectDescriptor.ItemID(" & v & ")", part.ItemID(v)
  Next
  ' In sections of their own, as lines of the script alone.
  found = 0
  For Each v In all
    found = found * 10 + v.DescriptorType
  Next
  Alone "For Each over DataSelectDescriptors", found = 288
  Alone "the default member", all(1) Is all.Item(1)
  Alone "the default member of an object that a property gives", _
        chosen.Descriptors(1) Is all.Item(1)
  Alone "the same object", chosen.Descriptors Is all
  Alone "an index outside gives Nothing", all(9) Is Nothing
End Sub

' A claim that the script alone can make.
Dim claims
Sub Alone(what, holds)
  If Not holds Then claims = claims & what & "; "
End Sub
Descriptors

' --- The five analyses --------------------------------------------------------------------------

Sub Slices(data, title)
  Dim row
  row = 1
  Do While data.MoveTo(row)
    Rows "TestData", data.TestData, title & " " & row & ", TestData"
    Rows "DescriptorData", data.DescriptorData, title & " " & row & ", DescriptorData"
    Rows "CommentData", data.CommentData, title & " " & row & ", CommentData"
    row = row + 1
  Loop
End Sub

Sub Data()
  Dim chosen, found
  Section "data"
  Set chosen = Selection("Flour 500 g")
  Set found = chosen.GetSubgroupData(database)
  Reads "DataSelect", chosen
  Rows "SubgroupData", found, "data, subgroups"
  Slices found, "data, subgroups"
  Section "data, stored"
  Stored "SubgroupData", found
  Section "events"
  Set chosen = Selection("Door panel")
  Set found = chosen.GetEventData(database)
  Rows "EventData", found, "events, rows"
  Section "events, stored"
  Stored "EventData", found
End Sub
Data

Sub Chart(title, part, graph1, graph2, graph3, group_by)
  Dim settings, results, graph, index, points, row
  Set settings = Make("CCProcessing")
  settings.Graph1Type = graph1
  settings.Graph2Type = graph2
  settings.Graph3Type = graph3
  settings.GroupBy = group_by
  Set results = Make("CCAnalysis").AnalyzeDataSelect(database, Selection(part), settings)
  Section title
  Reads "CCResults", results
  Reads "CCProcessing", results.Processing
  Reads "DataSelect", results.DataSelect
  For index = 1 To results.GraphCount
    Set graph = results.Graphs(index)
    Section title & ", graph " & index
    Reads "CCGraph", graph
    Set points = graph.GraphData
    Rows "CCGraphData", points, title & ", graph " & index & ", points"
    Section title & ", graph " & index & ", rules"
    row = 1
    Do While points.MoveTo(row)
      List "RuleDef", points.cOOCRuleDef
      List "RuleDef", points.OOCRuleDef
      row = row + 1
    Loop
    Alone "the same graph", results.Graphs(index) Is graph
  Next
  Rows "SubgroupData", results.SubgroupData, title & ", subgroups"
  Section title & ", tables"
  List "RuleDef", results.RuleDef
  If results.SpecLim.MoveFirst Then
    Tell "SpecLim.Value(" & Quoted("F_USL") & ")", results.SpecLim.Value("F_USL")
    Alone "the default member of a table", _
          results.SpecLim("F_USL") = results.SpecLim.Value("F_USL")
  End If
  Section title & ", stored"
  TellText "CCResults", results
End Sub
Chart "chart 1", "Wafer", 1, 1, 0, 0
Chart "chart 3", "Piston ring", 1, 2, 2, 0
Chart "chart 4", "Ring", 1, 1, 0, 2
Chart "chart 5", "Purchase order", 12, 0, 0, 0

Sub Capability(part, fit)
  Dim settings, results, title
  title = "capability " & part
  Set settings = Make("CAProcessing")
  settings.FitType = fit
  Set results = Make("CAAnalysis").AnalyzeDataSelect(database, Selection(part), settings)
  Section title
  Reads "CAResults", results
  Reads "CAProcessing", results.Processing
  Section title & ", statistics"
  Reads "CAStatistics", results.Statistics
  Rows "CABins", results.Bins, title & ", bins"
  Rows "CACurve", results.Curve, title & ", curve"
  Section title & ", stored"
  Tell "CAResults.GetXML", results.GetXML
End Sub
Capability "Ring", 0
Capability "Shaft", 1

Sub Pareto(title, part, resource, type0, type1, processing, first, last)
  Dim settings, results, chosen, level
  Set settings = Make("PAProcessing")
  settings.ResourceType = resource
  settings.ProcessingType = processing
  settings.BinType(0) = type0
  settings.BinType(1) = type1
  Set chosen = Selection(part)
  If first > 0 Then SetRange chosen, first, last
  Set results = Make("PAAnalysis").AnalyzeDataSelect(database, chosen, settings)
  Section title
  Reads "PAResults", results
  Rows "PABins", results.Bins, title & ", bins"
  Section title & ", bins, levels"
  For level = 0 To 2
    Tell "PABins.ID(" & level & ")", results.Bins.ID(level)
  Next
  Section title & ", stored"
  Tell "PABins.GetXML", results.Bins.GetXML
End Sub
Pareto "pareto 1", "Door panel", 0, 13, 0, 0, 0, 0
Pareto "pareto 2", "Door panel", 0, 13, 4, 1, 0, 0
Pareto "pareto 4", "Door panel", 1, 15, 0, 11, 45369, 45376
Pareto "pareto 5", "", 2, 23, 4, 11, 45390, 45395

Sub States(process)
  Dim chosen, results, descriptor, title
  title = "states " & process
  Set chosen = Selection("")
  Set descriptor = chosen.Descriptors.Add(1)
  descriptor.AddItemID Find("process", process)
  SetRange chosen, 45390, 45395
  Set results = Make("PSAnalysis").AnalyzeDataSelect(database, chosen, Make("PSProcessing"))
  Section title
  Reads "PSResults", results
  Rows "SubgroupData", results.SubgroupData, title & ", subgroups"
  Rows "EventData", results.EventData, title & ", events"
  Section title & ", log"
  List "PrcsStateLog", results.PrcsStateLog
End Sub
States "Capper"
States "Filler 1"

Sub Compliance()
  Dim chosen, results, descriptor
  Set chosen = Selection("")
  Set descriptor = chosen.Descriptors.Add(1)
  descriptor.AddItemID Find("process", "Capper")
  descriptor.AddItemID Find("process", "Filler 1")
  descriptor.AddItemID Find("process", "Filler 2")
  SetRange chosen, 45390, 45395
  Set results = Make("SCAnalysis").AnalyzeDataSelect(database, chosen)
  Section "compliance"
  Reads "SCResults", results
  Rows "SCResults", results, "compliance, rows"
End Sub
Compliance

' --- What the database keeps beside results -----------------------------------------------------

Sub Kept()
  Dim damaged, results, round, v
  Set damaged = MakeOfEngine("Database")
  On Error Resume Next
  Section "Database, failures and notes"
  v = Empty : v = damaged.TakeFailure : Tell "Database.TakeFailure", v
  v = Empty : v = damaged.TakeNotes : Tell "Database.TakeNotes", v
  v = damaged.FailureNumber : Tell "Database.FailureNumber", v
  v = damaged.FailureText : Tell "Database.FailureText", v
  damaged.Open "damaged.db"
  v = damaged.TakeFailure : Tell "Database.TakeFailure", v
  Set v = Selection("Flour 500 g")
  Set results = Make("CCAnalysis").AnalyzeDataSelect(damaged, v, Make("CCProcessing"))
  Tell "CCAnalysis.AnalyzeDataSelect(Object, Object, Object)", results
  Tell "CCResults.TotalSubgroups", results.TotalSubgroups
  For round = 1 To 2
    v = damaged.TakeFailure : Tell "Database.TakeFailure", v
    v = damaged.FailureNumber : Tell "Database.FailureNumber", v
    v = damaged.FailureText : Tell "Database.FailureText", v
  Next
  damaged.TakeNotes
  Set v = Selection("Flour 500 g")
  SetRange v, 40000, 40001
  Set results = Make("CCAnalysis").AnalyzeDataSelect(damaged, v, Make("CCProcessing"))
  Tell "CCAnalysis.AnalyzeDataSelect(Object, Object, Object)", results
  v = damaged.TakeFailure : Tell "Database.TakeFailure", v
  v = damaged.TakeNotes : Tell "Database.TakeNotes", v
  v = damaged.TakeNotes : Tell "Database.TakeNotes", v
End Sub
Kept

Sub Groups()
  Dim made, colour, v
  Set made = MakeOfEngine("Database")
  made.Create "script.db"
  made.Import "flour.csv", "values"
  Section "Database, groups and descriptors"
  v = made.Import("groups.csv", "groups")
  Tell "Database.Import(" & Quoted("groups.csv") & ", " & Quoted("groups") & ")", v
  On Error Resume Next
  v = Empty : v = made.FindGroup("part", "Bags")
  Tell "Database.FindGroup(" & Quoted("part") & ", " & Quoted("Bags") & ")", v
  v = Empty : v = made.FindGroup("test", "Bags")
  Tell "Database.FindGroup(" & Quoted("test") & ", " & Quoted("Bags") & ")", v
  colour = made.FindDescriptorGroup("Colour")
  Tell "Database.FindDescriptorGroup(" & Quoted("Colour") & ")", colour
  v = Empty : v = made.FindDescriptor(colour, "white")
  Tell "Database.FindDescriptor(1, " & Quoted("white") & ")", v
  v = Empty : v = made.FindDescriptor(colour, "loud")
  Tell "Database.FindDescriptor(1, " & Quoted("loud") & ")", v
End Sub
Groups

' --- The library's failures ---------------------------------------------------------------------

Sub Failures()
  Dim chosen, settings, v, empty_list
  Set chosen = Selection("Wafer")
  Set settings = Make("CCProcessing")
  Set empty_list = Make("DataSelect")
  empty_list.Descriptors.Add 0
  On Error Resume Next
  Section "failures -2147221504"
  chosen.MaximumItems = 0 : TellLet "DataSelect.MaximumItems", 0
  chosen.Tsno = -1 : TellLet "DataSelect.Tsno", -1
  chosen.DateRangeInterval = -1 : TellLet "DataSelect.DateRangeInterval", -1
  v = Empty : v = Make("DataSelect").SetXML("")
  Tell "DataSelect.SetXML(" & Quoted("") & ")", v
  v = Empty : v = Make("PAResults").Bins.ID(3) : Tell "PABins.ID(3)", v
  v = Empty : Set v = empty_list.GetSubgroupData(database)
  Tell "DataSelect.GetSubgroupData(Object)", v
  v = Empty : Set v = Make("CCAnalysis").AnalyzeDataSelect(database, empty_list, settings)
  Tell "CCAnalysis.AnalyzeDataSelect(Object, Object, Object)", v
  Section "failures 91"
  v = Empty : v = Make("CCResults").GraphCount : Tell "CCResults.GraphCount", v
  v = Empty : Set v = chosen.GetSubgroupData(Nothing)
  Tell "DataSelect.GetSubgroupData(Nothing)", v
  v = Empty : Set v = chosen.GetEventData(Nothing) : Tell "DataSelect.GetEventData(Nothing)", v
  v = Empty : Set v = Make("CCAnalysis").AnalyzeDataSelect(database, chosen, Nothing)
  Tell "CCAnalysis.AnalyzeDataSelect(Object, Object, Nothing)", v
  v = Empty : Set v = Make("CCAnalysis").AnalyzeDataSelect(database, Nothing, settings)
  Tell "CCAnalysis.AnalyzeDataSelect(Object, Nothing, Object)", v
  Section "failures 13"
  v = Empty : Set v = chosen.GetSubgroupData(settings)
  Tell "DataSelect.GetSubgroupData(Object)", v
  Section "failures 9"
  v = Empty : v = Make("PAProcessing").BinTypeID(6) : Tell "PAProcessing.BinTypeID(6)", v
  v = Empty : v = Make("SCResults").PP : Tell "SCResults.PP", v
  Section "failures 6"
  Set settings = Make("CAProcessing")
  settings.WindowType = &H7FFFFFFF
  v = Empty : Set v = Make("CAAnalysis").AnalyzeDataSelect(database, chosen, settings)
  Tell "CAAnalysis.AnalyzeDataSelect(Object, Object, Object)", v
End Sub
Failures

If claims <> "" Then Err.Raise 1000, "walk.vbs", claims
Finish
