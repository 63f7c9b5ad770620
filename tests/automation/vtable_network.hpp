// The part of the published layout that concerns the network, templates and terminal variables.
#pragma once

#include <windows.h>

#include <oleauto.h>

/// Two scales whose connections and protocols may be replaced.
void WalkNetwork(IDispatch* first, IDispatch* second);
