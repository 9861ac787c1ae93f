#pragma once

namespace ombrel {

// `ombrel calibrate`: the calibration dialog on the offscreen platform, a measuring run in the
// codec of `codecTag`, the largest deviation of the measured table from the identity printed
// in 1/255. Answers the exit code: 0, or 1 with a message on stderr.
int RunCalibrate(int argc, char** argv, int codecTag);

}  // namespace ombrel
