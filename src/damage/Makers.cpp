#include "damage/Makers.h"

#include <png.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "core/Paths.h"
#include "damage/DamageFrame.h"
#include "datafile/Resource.h"
#include "platform/imageio/Image.h"

namespace ombrel {

namespace {

Status DecodeImage(const std::string& path, cpu::Texture8* out) {
    if (PathExtension(path) == "png") {
        png_image image{};
        image.version = PNG_IMAGE_VERSION;
        if (!png_image_begin_read_from_file(&image, path.c_str()))
            return InvalidError("Cannot read the picture " + path + ": " + image.message);
        image.format = PNG_FORMAT_RGBA;
        out->width = static_cast<int>(image.width);
        out->height = static_cast<int>(image.height);
        out->channels = 4;
        out->data.assign(PNG_IMAGE_SIZE(image), 0);
        if (!png_image_finish_read(&image, nullptr, out->data.data(), 0, nullptr)) {
            png_image_free(&image);
            *out = {};
            return InvalidError("Cannot read the picture " + path + ": " + image.message);
        }
        return OkStatus();
    }
    ImagePtr image;
    if (Status s = ReadTiffImage(path, &image); !s.ok() || !image) return s.ok() ? InvalidError("No picture in " + path) : s;
    out->width = image->width;
    out->height = image->height;
    out->channels = 4;
    out->data = image->rgba;
    return OkStatus();
}

std::string Locate(const std::string& nameOrPath) {
    std::error_code ec;
    if (std::filesystem::is_regular_file(nameOrPath, ec)) return nameOrPath;
    std::string found;
    return FindResource("Resources/" + nameOrPath, &found).ok() ? found : nameOrPath;
}

}  // namespace

Status BorderMaker::MakeBorderFromPathSizeForAspect(const std::string& path, float aspectWidth, float aspectHeight) {
    cpu::Texture8 image;
    if (Status s = DecodeImage(path, &image); !s.ok()) return s;
    const int iw = image.width, ih = image.height;
    int w = aspectHeight > 0 ? static_cast<int>(static_cast<float>(ih) * aspectWidth / aspectHeight) : iw;
    w = std::max(w, iw);
    w = (w + 3) / 4 * 4;
    border_ = {w, ih, 1, std::vector<uint8_t>(static_cast<size_t>(w) * ih, 0)};
    // One channel of the decoded RGBA: the grey of the border.
    const int x0 = (w - iw) / 2;
    for (int y = 0; y < ih; ++y)
        for (int x = 0; x < iw; ++x)
            border_.data[static_cast<size_t>(y) * w + x0 + x] = image.data[(static_cast<size_t>(y) * iw + x) * 4];
    return OkStatus();
}

Status OverlayMaker::MakeOverlayWithImage(const std::string& nameOrPath) {
    return DecodeImage(Locate(nameOrPath), &overlay_);
}

void OverlayMaker::MashDirtMap() {
    for (size_t i = 0; i + 3 < overlay_.data.size(); i += 4) std::fill_n(overlay_.data.begin() + i, 3, 255);
}

Status LoadGunkTile(const std::string& path, cpu::Texture8* tile) {
    std::ifstream in(path, std::ios::binary);
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const size_t want = static_cast<size_t>(kGunkWidth) * kGunkHeight * 4;
    if (!in.eof() && !in.good()) return IoError("Cannot read the gunk tile " + path);
    if (bytes.size() != want)
        return InvalidError("The gunk tile " + path + " holds " + std::to_string(bytes.size()) + " bytes, not " +
                            std::to_string(want) + " (4096 x 2048 RGBA)");
    *tile = {kGunkWidth, kGunkHeight, 4, std::move(bytes)};
    return OkStatus();
}

}  // namespace ombrel
