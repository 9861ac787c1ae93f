// Text metadata tokens with nothing in them: a hostile or damaged clip can carry them, and
// they must read as empty texts without handing a null buffer to the C string functions.
#include <gtest/gtest.h>

#include "r3d/MetadataMapper.h"

namespace ombrel::r3d {
namespace {

struct EmptyTextRow {
    const char* name;
    uint16_t id;
    const char* key;
};

class MetadataEmptyText : public ::testing::TestWithParam<EmptyTextRow> {};

TEST_P(MetadataEmptyText, AnEmptyPayloadReadsAsAnEmptyText) {
    const EmptyTextRow& row = GetParam();
    RedFileFrameMetadata metadata;
    metadata.items.push_back(MetadataItem{row.id, {}});
    // A second token after it must still be read.
    metadata.items.push_back(MetadataItem{kIdUserScene, {'4', '2', 0}});
    MetadataStore store;
    MetadataMapper::MapMetadata(metadata, MapperContext{}, &store);
    EXPECT_TRUE(store.Has(row.key));
    EXPECT_EQ(store.ItemAsString(row.key), "");
    EXPECT_EQ(store.ItemAsString("user_scene"), "42");
}

INSTANTIATE_TEST_SUITE_P(
    Tokens, MetadataEmptyText,
    ::testing::Values(EmptyTextRow{"ReelId", kIdReelId, "reel_id"}, EmptyTextRow{"ClipId", kIdClipId, "clip_id"},
                      EmptyTextRow{"CameraId", kIdCameraId, "camera_id"},
                      EmptyTextRow{"StartEdgeTimecode", kIdStartEdgeTimecode, "start_edge_timecode"}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace ombrel::r3d
