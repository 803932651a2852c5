#include "foundation/out_of_memory.h"

#include <cstdio>
#include <cstdlib>

namespace ovpatch {

void outOfMemory(const char* what) {
    std::fprintf(stderr, "OvPatch: no memory for %s\n", what);
    std::abort();
}

}  // namespace ovpatch
