// The one place where the library's version stands: the log line at start, telemetry and the version resource
// all take it from here.
#pragma once

#define VDIPC_VERSION "2.0.54"
#define VDIPC_VERSION_WIDE L"2.0.54"
