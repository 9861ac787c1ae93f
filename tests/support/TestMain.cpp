// Every test executable starts here: the real home is never touched.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "core/Log.h"
#include "core/MainQueue.h"

int main(int argc, char** argv) {
    std::string scratch = std::filesystem::temp_directory_path().string() + "/ombrel-home-XXXXXX";
    if (!::mkdtemp(scratch.data())) return 2;
    ::setenv("HOME", scratch.c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (scratch + "/.config").c_str(), 1);
    ::setenv("XDG_DATA_HOME", (scratch + "/.local/share").c_str(), 1);
    ::setenv("XDG_CACHE_HOME", (scratch + "/.cache").c_str(), 1);
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
#ifdef OMBREL_BUILD_DATA_DIR
    ::setenv("OMBREL_DATA_DIR", OMBREL_BUILD_DATA_DIR, 0);
#endif
    ombrel::SetLogToSyslog(false);
    ombrel::MainQueue::Instance().AdoptCurrentThread();

    ::testing::InitGoogleTest(&argc, argv);
    int rc = RUN_ALL_TESTS();
    std::error_code ec;
    std::filesystem::remove_all(scratch, ec);
    return rc;
}
