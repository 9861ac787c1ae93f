#include "ModelTestSupport.h"

#include <filesystem>

#include "core/Paths.h"

namespace ombrel::test {

void SettingsStore::Reset() {
    auto& sm = SettingsManager::Instance();
    sm.setGui(nullptr);
    sm.ClearSettingsManager();
    std::error_code ec;
    std::filesystem::remove_all(DocumentsFolder(), ec);
    sm.setCurrentPresetLibrary("");
    sm.LoadFactoryPresets();
    sm.LoadCustomCodecList();
}

void GiveCamera(ClipSettings& s, const std::string& camera) {
    s.setSourceCameraChosen(camera);
    s.setDisplayMake("Make " + camera);
    s.setDisplayModel("Model " + camera);
    s.setDisplayPictureStyle("Style " + camera);
}

ImagePtr Swatch(uint8_t red) {
    auto img = std::make_shared<Image>(6, 4);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 6; ++x) {
            uint8_t* p = img->pixel(x, y);
            p[0] = red;
            p[1] = static_cast<uint8_t>(x * 40);
            p[2] = static_cast<uint8_t>(y * 60);
            p[3] = 255;
        }
    return img;
}

}  // namespace ombrel::test
