// libFuzzer target: the atom chain, the parse states with the recovery scan, frame and audio
// records, metadata tokens and our image payload, all over bytes in memory.
#include "core/Log.h"
#include "r3d/ImagePayload.h"
#include "r3d/MetadataMapper.h"
#include "r3d/RedFileItems.h"
#include "r3d/RedFileParser.h"

#include <cstddef>
#include <cstdint>
#include <vector>

using namespace ombrel::r3d;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    ombrel::SetLogToStderr(false);
    ombrel::SetLogToSyslog(false);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    MemoryTokenStream stream(data, size);
    RedFileTokenizer tokenizer(stream);
    RedFileParserProcessor processor("fuzz");
    RedFileParser parser(tokenizer, processor);
    if (!parser.Parse()) return 0;
    const uint16_t versionWord = processor.header.VersionWord();
    for (int s = 0; s < 2; ++s) {
        const IndexStore& store = processor.stores[s];
        for (uint32_t i = 0; i < store.video.count && i < 64; ++i) {
            const uint64_t at = store.GetVideoOffset(i);
            const int64_t n = store.GetVideoSize(i);
            if (at == 0 || n <= 8 || at + 8 > size || uint64_t(n) - 8 > size - at - 8) continue;
            RedFileVideoFrame frame;
            if (!frame.Parse(data + at + 8, size_t(n) - 8).ok()) continue;
            RedFileFrameMetadata meta;
            if (frame.metadataOffset + frame.metadataSize <= size_t(n) - 8)
                meta.Parse(data + at + 8 + frame.metadataOffset, frame.metadataSize, versionWord);
            MetadataStore out;
            MapperContext ctx;
            ctx.versionWord = versionWord;
            ctx.cameraCode = processor.header.cameraCode;
            ctx.width = processor.header.width;
            ctx.height = processor.header.height;
            ctx.timecodeBase = 24;
            MetadataMapper::MapMetadata(meta, ctx, &out);
            ImagePayloadInfo info;
            const uint8_t* image = data + at + 8 + frame.imageOffset;
            if (InspectImagePayload(image, frame.imageSize, &info) == ImagePayloadStatus::kOk &&
                uint64_t(info.width) * info.height <= 1u << 16) {
                std::vector<uint16_t> rgb(size_t(info.width) * info.height * 3);
                DecodeImagePayload(image, frame.imageSize, 2, rgb.data(), rgb.size() * 2);
                DecodeImagePayload(image, frame.imageSize, 1, rgb.data(), rgb.size() * 2, 0, 2);
            }
        }
        for (uint32_t i = 0; i < store.audio.count && i < 64; ++i) {
            const uint64_t at = store.GetAudioOffset(i);
            const int64_t n = store.GetAudioSize(i);
            if (at == 0 || n <= 8 || at + 8 > size || uint64_t(n) - 8 > size - at - 8) continue;
            RedFileAudioFrame block;
            (void)block.Parse(data + at + 8, size_t(n) - 8, versionWord, processor.header.audioChannels,
                              processor.header.firmwareRevision);
        }
    }
    return 0;
}
