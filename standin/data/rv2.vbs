' Tells the state of the SIMULATED base station by the exit code: 2 up, 7 no power, 1 no USB link. The classroom
' writes the state into rv2.state beside this script; without that file there is no link.
Option Explicit

' Later than anybody waits for an answer. Wine's script host can't sleep: there another program does it.
Sub Hang(seconds)
    Dim began
    began = Timer
    On Error Resume Next
    WScript.Sleep seconds * 1000
    If Timer - began < seconds - 1 Then
        CreateObject("WScript.Shell").Run "cmd.exe /c ping -n " & (seconds + 1) & " 127.0.0.1", 0, True
    End If
End Sub

Dim files, folder, path, state
Set files = CreateObject("Scripting.FileSystemObject")
folder = Left(WScript.ScriptFullName, InStrRev(WScript.ScriptFullName, "\"))
path = folder & "rv2.state"
state = ""
If files.FileExists(path) Then
    state = files.OpenTextFile(path, 1).ReadAll()
End If

If state = "hang" Then
    Hang 4
    WScript.Quit 2
ElseIf state = "up" Then
    WScript.Quit 2
ElseIf state = "no-power" Then
    WScript.Quit 7
End If
WScript.Quit 1
