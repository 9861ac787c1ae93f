#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>

#include "colour/Matrix3.h"
#include "core/Singleton.h"

namespace ombrel {

// Application-wide state that belongs to no clip. `State` is 0 while the application works
// on R3D clips and 1 on movies; the stock fallback and the preview read it. The viewing table
// and the display values wait for a display-colour stage: nothing draws with them yet.
class AppState : public Singleton<AppState> {
public:
    static constexpr const char* kClassName = "AppState";
    static constexpr int kViewingLUTSide = 64;
    // RGB floats, red fastest: 3,145,728 bytes.
    static constexpr size_t kViewingLUTFloats = size_t(3) * kViewingLUTSide * kViewingLUTSide * kViewingLUTSide;

    struct Size {
        float width = 0, height = 0;
    };

    int32_t State() const { return state_.load(); }
    void setState(int32_t state) { state_.store(state); }
    // The open tab of the main window.
    int32_t tabId() const { return tabId_.load(); }
    void setTabId(int32_t tab) { tabId_.store(tab); }
    float csGamma() const { return csGamma_.load(); }
    void setCsGamma(float gamma) { csGamma_.store(gamma); }
    float csContrast() const { return csContrast_.load(); }
    void setCsContrast(float contrast) { csContrast_.store(contrast); }
    bool reloadViewLUT() const { return reloadViewLUT_.load(); }
    void setReloadViewLUT(bool reload) { reloadViewLUT_.store(reload); }

    // The whole viewing table; the calibration overwrites it. Also through the class. Made on
    // first use: a render never reads it, and its 3 MB cost a first frame 12 ms of page faults.
    static float* GetViewingLUTData() { return Instance().ViewingLUT(); }
    static void ResetViewingLUTData() { Instance().LoadIdentityViewingLUT(); }
    // Entry r + 64 g + 4096 b is (r, g, b) / 63; sets reloadViewLUT.
    void LoadIdentityViewingLUT();

    const Math::Matrix3<float>& displayMatrix() const { return displayMatrix_; }
    const Math::Matrix3<float>& rec709CSInv() const { return rec709CSInv_; }
    const Math::Matrix3<float>& d65CAMatrix() const { return d65CAMatrix_; }
    float* csViewingMat() { return csViewingMat_; }
    float* csR709Mat() { return csR709Mat_; }
    float* csD65Mat() { return csD65Mat_; }

    const uint8_t* previewTest() const { return previewTest_; }
    const uint8_t* renderTest() const { return renderTest_; }
    Size previewSize() const { return previewSize_; }
    Size renderSize() const { return renderSize_; }
    bool preview8Bit() const { return preview8Bit_; }
    bool render8Bit() const { return render8Bit_; }

    // Kept for the display-colour stage; they do nothing.
    void GenerateColorsyncValues() {}
    void FillArrayFromMatrix(float*, const Math::Matrix3<float>&) {}
    void TestBufferWidthHeightTag(const uint8_t*, int, int, int) {}
    void StoreTestDataSizeIsPreviewIs8Bit(const uint8_t*, Size, bool, bool) {}

private:
    friend class Singleton<AppState>;
    AppState();
    float* ViewingLUT();
    void FillIdentity();

    std::atomic<int32_t> state_{1};
    std::atomic<int32_t> tabId_{0};
    std::once_flag viewingLUTOnce_;
    std::unique_ptr<float[]> viewingLUT_;
    std::atomic<float> csContrast_{1.0f};
    std::atomic<bool> reloadViewLUT_{true};
    uint8_t* previewTest_ = nullptr;
    uint8_t* renderTest_ = nullptr;
    Size previewSize_, renderSize_;
    bool preview8Bit_ = false, render8Bit_ = false;
    std::atomic<float> csGamma_{1.0f};
    Math::Matrix3<float> displayMatrix_, rec709CSInv_, d65CAMatrix_;
    float csViewingMat_[9] = {}, csR709Mat_[9] = {}, csD65Mat_[9] = {};
};

}  // namespace ombrel
