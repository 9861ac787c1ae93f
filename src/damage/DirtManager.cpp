#include "damage/DirtManager.h"

#include <cstdlib>
#include <iterator>
#include <cmath>

#include "core/Log.h"
#include "core/Paths.h"
#include "damage/DamageRandom.h"

namespace ombrel {

DirtFrame::DirtFrame(const std::string& textureFilename, DirtRect rect, bool rotated, DirtPoint offset,
                     DirtSize originalSize)
    : rect_(rect), rectInPixels_(rect), rotated_(rotated ? 1 : 0), offset_(offset), offsetInPixels_(offset),
      originalSize_(originalSize), originalSizeInPixels_(originalSize), textureFilename_(textureFilename) {}

PinnedVertical::PinnedVertical(const DirtQuad& coords, float alpha, int32_t frameCount, const DirtFrame& frame,
                               float viewportHeight, DamageRandom& random)
    : coordsArray_(coords), coordsArrayMod_(coords), alphaAdjust_(alpha), frame_(frame),
      viewportHeight_(viewportHeight) {
    framesToHold_ = static_cast<int32_t>(random.Unit() * frameCount);
}

void PinnedVertical::coordsModified(float jitter, DamageRandom& random) {
    coordsArrayMod_ = coordsArray_;
    const DirtRect& r = frame_.rect();
    const float v1 = r.y + (r.h - viewportHeight_) * static_cast<float>(random.Unit());
    coordsArrayMod_[5] = v1;
    coordsArrayMod_[7] = v1 + viewportHeight_;
    coordsArrayMod_[0] += jitter;
    coordsArrayMod_[2] += jitter;
}

const char* DirtManager::PrefixForType(int type) {
    static const char* const kPrefixes[kDirtTypeCount] = {"Dust", "DIRT", "pie", "Hair", "Scratch", "vert"};
    return type >= 0 && type < kDirtTypeCount ? kPrefixes[type] : "";
}

DirtManager::DirtManager() { pinnedVerticals_.reserve(100); }

namespace {

std::vector<float> Pieces(const std::string& s, size_t want) {
    std::vector<float> out;
    size_t i = 0;
    while (i < s.size() && out.size() < want) {
        const size_t end = s.find_first_of("{}, ", i);
        const std::string piece = s.substr(i, end == std::string::npos ? std::string::npos : end - i);
        if (!piece.empty()) out.push_back(std::strtof(piece.c_str(), nullptr));
        if (end == std::string::npos) break;
        i = end + 1;
    }
    out.resize(want, 0.0f);
    return out;
}

}  // namespace

DirtRect DirtManager::RectFromString(const std::string& s) {
    const auto p = Pieces(s, 4);
    return {p[0], p[1], p[2], p[3]};
}

DirtSize DirtManager::SizeFromString(const std::string& s) {
    const auto p = Pieces(s, 2);
    return {p[0], p[1]};
}

DirtPoint DirtManager::PointFromString(const std::string& s) {
    const auto p = Pieces(s, 2);
    return {p[0], p[1]};
}

Status DirtManager::AddDirtFramesWithFile(const std::string& path) {
    PlistValue dict;
    const Status read = PlistValue::ReadFromFile(path, &dict);
    if (!read.ok()) return read;
    if (!dict.isDict()) return InvalidError("Not a sprite atlas description (no dictionary at the top): " + path);
    const std::string name = dict["metadata"]["textureFileName"].asString();
    std::string folder = path.substr(0, path.size() - LastPathComponent(path).size());
    const std::string texture = name.empty() ? DeletingPathExtension(path) + ".png" : folder + name;
    AddDirtFramesWithDictionary(dict, texture);
    return OkStatus();
}

void DirtManager::AddDirtFramesWithDictionary(const PlistValue& dict, const std::string& textureFilename) {
    textureFilename_ = textureFilename;
    const int64_t format = dict["metadata"]["format"].asInt(0);
    if (!dict["frames"].isDict()) return;
    for (const auto& [name, e] : dict["frames"].asDict()) {
        DirtRect rect;
        DirtPoint offset;
        DirtSize original;
        bool rotated = false;
        switch (format) {
            case 0:
                rect = {static_cast<float>(e["x"].asReal()), static_cast<float>(e["y"].asReal()),
                        static_cast<float>(e["width"].asReal()), static_cast<float>(e["height"].asReal())};
                offset = {static_cast<float>(e["offsetX"].asReal()), static_cast<float>(e["offsetY"].asReal())};
                original = {static_cast<float>(std::llabs(e["originalWidth"].asInt())),
                            static_cast<float>(std::llabs(e["originalHeight"].asInt()))};
                if (original.w == 0 || original.h == 0) LogWarn("{}", kOriginalSizeWarning);
                break;
            case 1:
            case 2:
                rect = RectFromString(e["frame"].asString());
                offset = PointFromString(e["offset"].asString());
                original = SizeFromString(e["sourceSize"].asString());
                rotated = format == 2 && e["rotated"].asBool();
                break;
            case 3: {
                const DirtSize size = SizeFromString(e["spriteSize"].asString());
                const DirtRect at = RectFromString(e["textureRect"].asString());
                rect = {at.x, at.y, size.w, size.h};
                offset = PointFromString(e["spriteOffset"].asString());
                original = SizeFromString(e["spriteSourceSize"].asString());
                rotated = e["textureRotated"].asBool();
                break;
            }
            default: continue;
        }
        // The order the prefixes are tried in.
        static const int kOrder[] = {kDirtDirt, kDirtDust, kDirtHair, kDirtPie, kDirtScratch, kDirtVertical};
        for (int type : kOrder) {
            if (name.starts_with(PrefixForType(type))) {
                dirtFrames_[type][name] = DirtFrame(textureFilename, rect, rotated, offset, original);
                break;
            }
        }
    }
}

const std::map<std::string, DirtFrame>& DirtManager::dirtFrames(int type) const {
    static const std::map<std::string, DirtFrame> kNone;
    return type >= 0 && type < kDirtTypeCount ? dirtFrames_[type] : kNone;
}

bool DirtManager::GetRandomDirtOfType(int type, DirtQuad* coords, float alpha, int32_t maxFrames,
                                      DamageRandom& random) {
    const auto& sprites = dirtFrames(type);
    if (sprites.empty() || !coords) return false;
    auto it = sprites.begin();
    std::advance(it, random.Rand() % static_cast<int32_t>(sprites.size()));
    const DirtFrame& sprite = it->second;
    const DirtRect& r = sprite.rect();
    DirtQuad& q = *coords;
    q[0] = static_cast<float>(2.0 * random.Unit() - 1.0);
    q[1] = static_cast<float>(2.0 * random.Unit() - 1.0);
    // A sprite keeps its pixel size on a 1920 x 1080 frame, whatever the frame's real size.
    q[2] = q[0] + r.w / 960.0f;
    q[3] = q[1] + r.h / 540.0f;
    q[4] = r.x;
    q[5] = r.y;
    q[6] = r.x + r.w;
    q[7] = r.y + r.h;
    if (type == kDirtVertical) {
        q[1] = -1.0f;
        q[3] = 1.0f;
        pinnedVerticals_.emplace_back(q, alpha, maxFrames, sprite, 1080.0f, random);
    }
    return true;
}

bool DirtManager::PinnedVerticalAvailable() const {
    for (const PinnedVertical& p : pinnedVerticals_)
        if (!p.processedFlag()) return true;
    return false;
}

bool DirtManager::GetPinnedVertical_Coords(DirtQuad* coords, float* alpha, DamageRandom& random) {
    for (auto it = pinnedVerticals_.begin(); it != pinnedVerticals_.end(); ++it) {
        if (it->processedFlag()) continue;
        const float jitter = static_cast<float>((2.0 * random.Unit() - 1.0) / 10000.0);
        it->coordsModified(jitter, random);
        if (coords) *coords = it->coordsArrayMod();
        if (alpha) *alpha = it->alphaAdjust();
        it->setProcessedFlag(true);
        it->setFramesToHold(it->framesToHold() - 1);
        if (it->framesToHold() < 1) pinnedVerticals_.erase(it);
        return true;
    }
    return false;
}

void DirtManager::ClearPins() {
    for (PinnedVertical& p : pinnedVerticals_) p.setProcessedFlag(false);
}

}  // namespace ombrel
