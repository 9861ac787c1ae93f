#include "core/Singleton.h"

#include <cstdio>
#include <cstdlib>

#include "core/Log.h"

namespace ombrel {

void FailSecondInstance(const char* className) {
    std::fprintf(stderr, "Attempted to create two %s instances\n", className);
    std::fflush(stderr);
    std::abort();
}

}  // namespace ombrel
