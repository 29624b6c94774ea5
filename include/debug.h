// The trace level: 0; `-d N` sets it for the actions after it. From 1 loading, releasing, the mount
// probe and -b trace, from 3 the searches by share name, from 10 the FTP rules. Below 0 the notices
// of trace(0, ...) are silent.
#pragma once

extern int debug;
