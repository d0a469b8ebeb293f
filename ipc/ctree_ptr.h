// Owners of what the configuration tree library hands out.
#pragma once

#include <cstdlib>
#include <memory>

#include "platform/ctree.h"

namespace ravd {

struct ctree_deleter {
    void operator()(ctree* tree) const { ctree_release(tree); }
    void operator()(char* text) const { std::free(text); }
};

using ctree_ptr = std::unique_ptr<ctree, ctree_deleter>;
using ctree_text = std::unique_ptr<char, ctree_deleter>;  // may be null: out of memory

}  // namespace ravd
