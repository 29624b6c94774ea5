// All that the rooms share: the machine, what its settings mean, and what readers find.
#pragma once

#include "access/machine/meaning.h"
#include "access/machine/reading.h"
#include "access/machine/text.h"
