' SPDX-License-Identifier: Apache-2.0
' In front of every script, behind Option Explicit and Const OUTPUT: what writes the lines of the
' result file.
Dim out
Set out = CreateObject("Scripting.FileSystemObject").CreateTextFile(OUTPUT, True, True)

Sub Section(title)
  out.WriteLine ""
  out.WriteLine "[" & title & "]"
End Sub

Function Quoted(text)
  Dim t
  t = Replace(text, "\", "\\")
  t = Replace(t, Chr(34), "\" & Chr(34))
  t = Replace(t, vbLf, "\n")
  t = Replace(t, vbCr, "\r")
  Quoted = Chr(34) & Replace(t, Chr(0), "\0") & Chr(34)
End Function

Function NumberText(number)
  NumberText = LCase(CStr(number))
  If InStr(NumberText, "nan") > 0 Or InStr(NumberText, "ind") > 0 Then NumberText = "nan"
End Function

Function Shown(v)
  If IsObject(v) Then
    If v Is Nothing Then Shown = "Nothing" Else Shown = "Object"
  ElseIf VarType(v) >= 8192 Then
    Shown = "VarType " & VarType(v)
  Else
    Select Case VarType(v)
      Case 0 : Shown = "Empty"
      Case 2, 3 : Shown = CStr(v)
      Case 5, 7 : Shown = NumberText(CDbl(v))
      Case 8 : Shown = Quoted(v)
      Case 11
        If v Then Shown = "True" Else Shown = "False"
      Case Else : Shown = "VarType " & VarType(v)
    End Select
  End If
End Function

Function Outcome(v)
  If Err.Number <> 0 Then
    Outcome = "failed " & Err.Number & " | " & Err.Source & " | " & Err.Description
  Else
    Outcome = Shown(v)
  End If
End Function

' After a call under On Error Resume Next: what it gave, or how it failed. Clears Err.
Sub Tell(name, v)
  out.WriteLine name & " = " & Outcome(v)
  Err.Clear
End Sub

Sub TellLet(name, v)
  out.WriteLine name & " := " & Outcome(v)
  Err.Clear
End Sub

Function Make(name)
  If name = "Error" Then
    Set Make = CreateObject("orvError6.Error")
  Else
    Set Make = CreateObject("orvSPCAnalysis6." & name)
  End If
End Function

Function MakeOfEngine(name)
  Set MakeOfEngine = CreateObject("orvEngine." & name)
End Function

' The last line of a script that came to its end.
Sub Finish()
  out.WriteLine ""
  out.WriteLine "[end]"
  out.Close
End Sub
