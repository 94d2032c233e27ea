' SPDX-License-Identifier: Apache-2.0
' What only a script can show: its own objects as the database, and the failures that the engine of
' the language or COM raises in front of the component. The lines must be those of host.txt.
Class HostDatabase
  Public Inner
  Public Calls
  Public Values
  Public Property Get ConnectionHandle
    Calls = Calls + 1
    ConnectionHandle = Inner.ConnectionHandle
  End Property
  Public Function DatabaseValue(value)
    Values = Values & value & " "
    DatabaseValue = Inner.DatabaseValue(value)
  End Function
End Class

Class FailingDatabase
  Public Number
  Public Property Get ConnectionHandle
    Err.Raise Number, "Host.Source", "the host's own words"
  End Property
  Public Function DatabaseValue(value)
    DatabaseValue = 0
  End Function
End Class

Class StrangeDatabase
  Public Property Get ConnectionHandle
    ConnectionHandle = 1234567
  End Property
  Public Function DatabaseValue(value)
    DatabaseValue = 0
  End Function
End Class

Class NoDatabase
  Public Name
End Class

Dim chosen
Set chosen = Make("DataSelect")
chosen.DateRangeInterval = 0

Sub HostObjects()
  Dim inner, host, results, v, failing
  Section "a host's database"
  Set inner = MakeOfEngine("Database")
  inner.Open "sample.db"
  Set host = New HostDatabase
  Set host.Inner = inner
  host.Calls = 0
  Set results = Make("CCAnalysis").AnalyzeDataSelect(host, chosen, Make("CCProcessing"))
  Tell "CCResults.TotalSubgroups > 0", results.TotalSubgroups > 0
  Tell "ConnectionHandle was read", host.Calls > 0
  Tell "DatabaseValue was called with", host.Values
  On Error Resume Next
  inner.TakeNotes
  Set results = Make("CCAnalysis").AnalyzeDataSelect(New StrangeDatabase, chosen, _
                                                     Make("CCProcessing"))
  Tell "CCResults.TotalSubgroups of an unknown handle", results.TotalSubgroups
  Tell "a failure", inner.TakeFailure
  Tell "a note", Left(inner.TakeNotes, 56)
  Set failing = New FailingDatabase
  For Each v In Array(7, 1234, -2147220000)
    failing.Number = v
    Set results = chosen.GetSubgroupData(failing)
    Tell "a host that fails with " & v, Empty
  Next
  Set results = chosen.GetSubgroupData(New NoDatabase)
  Tell "an object without the members", Empty
End Sub
HostObjects

Sub OfTheEngine()
  Dim v
  On Error Resume Next
  Section "in front of the component"
  For Each v In Array("TestData", "DescriptorData", "CommentData", "CCGraph", "CCGraphData", _
                      "CAStatistics", "CABins", "CACurve", "PABins", "NoSuchClass")
    CreateObject "orvSPCAnalysis6." & v
    Tell "CreateObject " & v, Empty
  Next
  Set v = Nothing
  v = chosen.NoSuchMember : Tell "an unknown member", Empty
  chosen.Descriptors = 3 : Tell "a Let of what has none", Empty
  v = chosen.SetXML() : Tell "a missing argument", Empty
  v = chosen.SetXML("", 2) : Tell "an argument too many", Empty
  chosen.MaximumItems = "many" : Tell "a text that is no number", Empty
  chosen.MaximumItems = 3000000000 : Tell "a number too large", Empty
  chosen.MaximumItems = "12" : Tell "a text that is a number", chosen.MaximumItems
  chosen.IncludeEnabled = 5 : Tell "a number as a boolean", chosen.IncludeEnabled
  chosen.DateRangeStart = "2024-05-06" : Tell "a text as a date", CDbl(chosen.DateRangeStart)
  chosen.DateRangeTimeType = 99
  Tell "a number outside of the enumeration", chosen.DateRangeTimeType
  Set v = Make("CCAnalysis").AnalyzeDataSelect(3, chosen, Make("CCProcessing"))
  Tell "a number as the database", Empty
End Sub
OfTheEngine

Sub Arrays()
  Dim descriptor, v
  Section "arrays"
  Set descriptor = chosen.Descriptors.Add(0)
  Tell "ItemIDs before", VarType(descriptor.ItemIDs)
  descriptor.AddItemID 4
  Tell "ItemIDs with an item", VarType(descriptor.ItemIDs)
  v = descriptor.ItemIDs
  descriptor.ItemIDs = v
  Tell "ItemCount after a round trip", descriptor.ItemCount
  On Error Resume Next
  descriptor.ItemIDs = Array(1, 2, 3)
  Tell "ItemIDs of an array of variants", Empty
  descriptor.ItemIDs = 5
  Tell "ItemIDs of a number", Empty
End Sub
Arrays

Sub Cells()
  Dim row
  Section "cells of a limit table"
  Set row = MakeOfEngine("SpecLim")
  row.Value("F_USL") = 2.5 : Tell "a number", row.Value("F_USL")
  Tell "an unknown column", row.Value("NO_SUCH")
  On Error Resume Next
  row.Value("F_USL") = Nothing : Tell "Nothing", Empty
  row.Value("F_USL") = Null : Tell "Null", Empty
  Tell "the number after that", row.Value("F_USL")
End Sub
Cells
Finish
