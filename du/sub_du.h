// The listing of a directory's subdirectories.
#pragma once

// Prints the directories directly under `directory`, one a line after a tab, then
// `directory` itself; links to directories count, "lost+found" and "spool" do not. A path
// of more than 254 bytes is left out. Makes `directory` the working directory and leaves it
// so. Returns 0; or -1 if it cannot be opened or memory runs out, as standard error says.
int dir_use(const char* directory);
