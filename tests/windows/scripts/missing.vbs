' SPDX-License-Identifier: Apache-2.0
' Run with the component in a folder that lacks one closed library and has another without its
' functions. The lines must be those of missing.txt.
Dim database, chosen

Sub Missing()
  Dim v
  Set database = MakeOfEngine("Database")
  database.Open "sample.db"
  Set chosen = Make("DataSelect")
  On Error Resume Next
  Section "missing"
  v = Empty
  Set v = Make("CAAnalysis").AnalyzeDataSelect(database, chosen, Make("CAProcessing"))
  Tell "a library that is not there", v
  v = Empty
  Set v = Make("PAAnalysis").AnalyzeDataSelect(database, chosen, Make("PAProcessing"))
  Tell "a library without its functions", v
  Set v = Make("CCAnalysis").AnalyzeDataSelect(database, chosen, Make("CCProcessing"))
  Tell "the other libraries", v
End Sub
Missing
Finish
