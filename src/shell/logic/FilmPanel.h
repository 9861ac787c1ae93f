#pragma once

#include <array>
#include <string>

#include "model/ColorBallInfo.h"
#include "shell/logic/GuiPorts.h"

namespace ombrel {

class GuiController;
class GuiModel;
class GuiControllerEventProtocol;

// The nine look values of the film settings tab, in the panel's order.
enum class FilmRow { Exposure, Kelvin, Saturation, ColorAmount, SCurveAmount, Grain, Lift, Gamma, Gain };
constexpr size_t kFilmRows = 9;

enum class TextBy { TwoDecimals, Integer, Percent, None };

struct FilmRowSpec {
    const char* slider;
    const char* text;  // null: the row has no text field
    TextBy by;
    double min, max;  // the slider's limits
};

// One table: names, text formats and slider limits.
const std::array<FilmRowSpec, kFilmRows>& FilmRowSpecs();
const FilmRowSpec& SpecOf(FilmRow row);
// "%1.2f", "%i" cut, or "%i" of the value x 100.
std::string FilmRowText(TextBy by, double value);

// The three handles of the levels control, each 0 to 1.
struct LevelPositions {
    double bottom = 0.0, mid = 0.5, top = 1.0;
};
enum class LevelHandle { Top = 0, Mid = 1, Bottom = 2 };
// A drag of `handle` by `d` (in units of the control's drag width): the ends stop 0.01 short of
// the middle and carry it along in proportion; the middle stops 0.01 short of either end.
LevelPositions DragLevel(LevelPositions p, LevelHandle handle, double d);
// The drag width of a levels control: its width less 43 less twice its inset.
double LevelDragUnits(double dx, double width, double inset);

class LevelsPort : public ControlPort {
public:
    virtual LevelPositions positions() const { return {}; }
    virtual void setPositionBottom(double /*v*/) {}
    virtual void setPositionMid(double /*v*/) {}
    virtual void setPositionTop(double /*v*/) {}
};

class BallsPort : public ControlPort {
public:
    virtual ColorBallInfo ballInfo() const { return {}; }
    virtual void PushColorBallPositions(const ColorBallInfo& /*info*/) {}
};

class StockBoxPort : public ControlPort {
public:
    virtual void setStockId(int /*tag*/) {}
};

// The text fields of the panel: the six of the rows, then the three of the levels.
enum class PanelText { Exposure, Kelvin, Saturation, ColorAmount, SCurveAmount, Grain, Black, Mid, White };
constexpr size_t kPanelTexts = 9;

struct FilmPanelControls {
    std::array<SliderPort*, kFilmRows> sliders{};
    std::array<TextFieldPort*, kPanelTexts> texts{};
    LevelsPort* levelSlider = nullptr;
    PopupPort* filmStockPopup = nullptr;
    TextFieldPort* filmStockLabel = nullptr;
    StockBoxPort* filmStockBox = nullptr;
    PopupPort* grainSizePopup = nullptr;
    BallsPort* filmBallsBox = nullptr;
    CheckboxPort* preLevelsRadio = nullptr;  // on: column 0, the histogram before the levels
    ControlPort* histogramView = nullptr;
};

// The film settings panel: the part of the window's controller that serves the grading
// controls. Each control writes to the model; the model's calls back move the controls only
// where they differ, so the ring stops. Main thread only.
class FilmPanel {
public:
    explicit FilmPanel(GuiController& gui);
    void setControls(const FilmPanelControls& controls);

    // User events.
    void RowChanged(FilmRow row);
    void ExposureChanged() { RowChanged(FilmRow::Exposure); }
    void KelvinChanged() { RowChanged(FilmRow::Kelvin); }
    void SaturationChanged() { RowChanged(FilmRow::Saturation); }
    void ColorAmountChanged() { RowChanged(FilmRow::ColorAmount); }
    void SCurveAmountChanged() { RowChanged(FilmRow::SCurveAmount); }
    void GrainAmountChanged() { RowChanged(FilmRow::Grain); }
    void LiftGammaGainChanged();
    void LevelsChanged();
    void BallInfoChanged();
    void BallsChanged() { ClearPresetNumber(); }
    void BallWasReset(int which);
    void StockChanged();
    void PreviousStock();
    void NextStock();
    void GrainSizeChanged();
    void PreLevelsChanged();
    void UseMetadataChecked();
    void ResetKelvinClicked();
    void UseDefaults();

    // Text entry.
    void controlTextDidBeginEditing(PanelText field);
    void controlTextDidChange(PanelText field);
    void controlTextDidEndEditing(PanelText field);
    bool textEditInProgress() const { return textEditInProgress_; }

    // The model's calls back, as the controller passes them on.
    void ShowRow(FilmRow row, double value);
    void setLiftGammaGain(float lift, float gamma, float gain);
    void setBallInfo(const ColorBallInfo& info);
    void setHistogramLevel(PanelText field, double value);
    void setHistogramStale();
    void setGrainScale(double value);
    void setStockName(const std::string& name);
    void setUseMetadata(bool value);

    void ResetFilmStockList();
    void SetBlurRadius();
    void UpdateSCurveSliderSize();
    void ClearPresetNumber();
    // While held, changes keep the preset number: loading a preset sets the stock itself.
    void setHoldPresetNumber(bool hold) { holdPresetNumber_ = hold; }
    // One round of the forced updates: the swatch and the histogram.
    void ForceUpdateRound();

private:
    GuiModel& model() const;
    GuiControllerEventProtocol& ctrl() const;
    double ModelValue(FilmRow row) const;
    void SetModelValue(FilmRow row, double value);
    void SetSlider(FilmRow row, double value);
    void SetTextfield(PanelText field, const std::string& text);
    bool CheckForText(const std::string& key, PanelText field);
    bool SetSliderFromTextField(PanelText field);
    bool SetLevelsFromTextField(PanelText field);
    void ForceTextEditToEnd();

    GuiController& gui_;
    FilmPanelControls c_;
    bool textEditInProgress_ = false;
    bool holdPresetNumber_ = false;
    PanelText editing_ = PanelText::Exposure;
    std::string textEditHolder_;
};

}  // namespace ombrel
