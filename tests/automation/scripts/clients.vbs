' Prints a line for each client of the server: state, events delivered, waiting, held, the program.
Option Explicit

Dim connection, list, i
Set connection = CreateObject("TarnSclServer.TarnServerConnection")
list = connection.TarnScaleServer(0).Clients
For i = 1 To UBound(list, 1)
    WScript.Echo "client", list(i, 2), "state", list(i, 5), "subscriptions", list(i, 4), _
                 "delivered", list(i, 6), "waiting", list(i, 7), "merged", list(i, 8), _
                 "dropped", list(i, 9), "held", list(i, 10), "since", list(i, 3), list(i, 1)
Next
WScript.Echo "All of clients.vbs"
