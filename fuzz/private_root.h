// A place where the absolute paths of the product may be written to.
#pragma once

// Gives this process /etc, /tmp and /proc/mounts of its own, empty; ends it where that fails.
// The working directory stays as it is.
void enter_private_root();
