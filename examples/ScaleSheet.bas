Attribute VB_Name = "ScaleSheet"
' Two macros for buttons of a sheet: one shows the weight of scale 1 in row 2, the other ends that.
Option Explicit

Private mEvents As ScaleEvents

Public Sub StartWeighing()
    Set mEvents = New ScaleEvents
    mEvents.Follow 1, ActiveSheet.Rows(2)
End Sub

Public Sub StopWeighing()
    If mEvents Is Nothing Then Exit Sub
    mEvents.Leave
    Set mEvents = Nothing
End Sub
