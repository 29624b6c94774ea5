// A text on the heap that its owner frees.
#pragma once

#include <memory>
#include <stdlib.h>

struct free_text {
    void operator()(char* text) const { free(text); }
};
using Text = std::unique_ptr<char[], free_text>;
