#include "NoGlDriver.h"

#include "support/Shell.h"

namespace ombrel::test {

::testing::AssertionResult RunsWithoutGlDriver(const std::string& filter) {
    const int status = RunSelfWithoutGlDriver(filter);
    if (status == -1) return ::testing::AssertionFailure() << "the child could not run or died of a signal";
    if (status != 0) return ::testing::AssertionFailure() << "the child's tests failed: " << filter;
    return ::testing::AssertionSuccess();
}

}  // namespace ombrel::test
