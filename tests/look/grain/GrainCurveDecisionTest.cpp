// A grain curve file that holds fewer than its 256 entries leaves the rest of the curve at
// zero; the bytes of the container's tail that follow its floats are never read as numbers.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <vector>

#include "datafile/DataFile.h"
#include "look/grain/GrainLookup.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

TEST(GrainCurveDecision, ShortCurveLeavesMissingEntriesAtZero_NotCopyingTheContainerTail) {
    struct Row {
        const char* name;
        size_t floats;
    };
    // 700 floats: the payload and the tail together exceed the curve, so a copy of "up to
    // 3,072 bytes" would fill the last 68 entries from the tail.
    for (const Row& row : {Row{"a few entries", 100}, Row{"most entries", 700}, Row{"all entries", 768}}) {
        SCOPED_TRACE(row.name);
        test::TempDir dir;
        std::filesystem::create_directories(dir.path() + "/Resources");
        std::vector<float> values(row.floats);
        for (size_t i = 0; i < values.size(); ++i) values[i] = 1.0f + 0.5f * static_cast<float>(i);
        char message[kMessageBufferSize] = {};
        ASSERT_EQ(ScrambleDataToFile(dir.path() + "/Resources/Short.emoGrain", values.data(),
                                     values.size() * sizeof(float), message),
                  0)
            << message;
        test::ScopedDataRoot root(dir.path());
        const auto curve = GrainLookup::InitWithName("Short");
        std::vector<float> loaded(GrainLookup::kEntries * 3);
        std::memcpy(loaded.data(), curve->buffer(), GrainLookup::kBufferBytes);
        for (size_t i = 0; i < loaded.size(); ++i)
            ASSERT_EQ(loaded[i], i < values.size() ? values[i] : 0.0f) << "entry " << i;
    }
}

}  // namespace
}  // namespace ombrel
