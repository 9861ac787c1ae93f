#include "shell/logic/FilmPanel.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "core/Log.h"
#include "look/AppState.h"
#include "look/LutManager.h"
#include "look/grain/GrainManager.h"
#include "model/SettingsManager.h"
#include "shell/logic/GuiController.h"

namespace ombrel {

namespace {

// Two floats of the levels compare equal within this.
constexpr double kLevelEpsilon = 1e-6;

bool Differs(double a, double b) { return std::fabs(a - b) > kLevelEpsilon; }

size_t Index(FilmRow row) { return static_cast<size_t>(row); }
size_t Index(PanelText field) { return static_cast<size_t>(field); }

}  // namespace

const std::array<FilmRowSpec, kFilmRows>& FilmRowSpecs() {
    static const std::array<FilmRowSpec, kFilmRows> kRows = {{
        {"exposureSlider", "exposureText", TextBy::TwoDecimals, -5.0, 5.0},
        {"kelvinSlider", "kelvinText", TextBy::Integer, 2000.0, 12000.0},
        {"saturationSlider", "saturationText", TextBy::TwoDecimals, 0.0, 2.0},
        {"colorAmountSlider", "colorAmountText", TextBy::Percent, 0.0, 1.0},
        {"sCurveAmountSlider", "sCurveAmountText", TextBy::Percent, 0.0, 1.0},
        {"grainSlider", "grainText", TextBy::Percent, 0.0, 1.0},
        {"liftSlider", nullptr, TextBy::None, 0.5, 1.5},
        {"gammaSlider", nullptr, TextBy::None, 0.5, 1.5},
        {"gainSlider", nullptr, TextBy::None, 0.5, 1.5},
    }};
    return kRows;
}

const FilmRowSpec& SpecOf(FilmRow row) { return FilmRowSpecs()[Index(row)]; }

std::string FilmRowText(TextBy by, double value) {
    char text[64];
    switch (by) {
        case TextBy::TwoDecimals:
            std::snprintf(text, sizeof text, "%1.2f", value);
            return text;
        case TextBy::Integer:
            std::snprintf(text, sizeof text, "%i", static_cast<int>(value));
            return text;
        case TextBy::Percent:
            std::snprintf(text, sizeof text, "%i", static_cast<int>(value * 100.0));
            return text;
        case TextBy::None:
            break;
    }
    return {};
}

LevelPositions DragLevel(LevelPositions p, LevelHandle handle, double d) {
    const double span = p.top - p.bottom;
    const double r = span > 0.0 ? (p.mid - p.bottom) / span : 0.0;
    switch (handle) {
        case LevelHandle::Bottom:
            p.bottom += d;
            if (p.bottom >= p.mid) p.bottom = p.mid - 0.01;
            p.bottom = std::clamp(p.bottom, 0.0, 1.0);
            p.mid = r * (p.top - p.bottom) + p.bottom;
            break;
        case LevelHandle::Top:
            p.top += d;
            if (p.top <= p.mid) p.top = p.mid + 0.01;
            p.top = std::clamp(p.top, 0.0, 1.0);
            p.mid = r * (p.top - p.bottom) + p.bottom;
            break;
        case LevelHandle::Mid:
            p.mid = std::min(p.mid + d, p.top - 0.01);
            p.mid = std::max(p.mid, p.bottom + 0.01);
            p.mid = std::clamp(p.mid, 0.0, 1.0);
            break;
    }
    return p;
}

double LevelDragUnits(double dx, double width, double inset) {
    const double units = width - 43.0 - 2.0 * inset;
    return units > 0.0 ? dx / units : 0.0;
}

FilmPanel::FilmPanel(GuiController& gui) : gui_(gui) { setControls({}); }

void FilmPanel::setControls(const FilmPanelControls& controls) {
    static SliderPort slider;
    static TextFieldPort text;
    static LevelsPort levels;
    static PopupPort popup;
    static StockBoxPort box;
    static BallsPort balls;
    static CheckboxPort radio;
    static ControlPort control;
    c_ = controls;
    for (auto& s : c_.sliders) s = s ? s : &slider;
    for (auto& t : c_.texts) t = t ? t : &text;
    if (!c_.levelSlider) c_.levelSlider = &levels;
    if (!c_.filmStockPopup) c_.filmStockPopup = &popup;
    if (!c_.filmStockLabel) c_.filmStockLabel = &text;
    if (!c_.filmStockBox) c_.filmStockBox = &box;
    if (!c_.grainSizePopup) c_.grainSizePopup = &popup;
    if (!c_.filmBallsBox) c_.filmBallsBox = &balls;
    if (!c_.preLevelsRadio) c_.preLevelsRadio = &radio;
    if (!c_.histogramView) c_.histogramView = &control;
    for (size_t i = 0; i < kFilmRows; ++i) c_.sliders[i]->setMinMax(FilmRowSpecs()[i].min, FilmRowSpecs()[i].max);
}

GuiModel& FilmPanel::model() const { return *gui_.guiModel(); }
GuiControllerEventProtocol& FilmPanel::ctrl() const { return *gui_.guiCtrl(); }

double FilmPanel::ModelValue(FilmRow row) const {
    const GuiModel& m = model();
    switch (row) {
        case FilmRow::Exposure: return m.exposure();
        case FilmRow::Kelvin: return m.kelvin();
        case FilmRow::Saturation: return m.saturation();
        case FilmRow::ColorAmount: return m.colorAmount();
        case FilmRow::SCurveAmount: return m.sCurveAmount();
        case FilmRow::Grain: return m.grainAmount();
        case FilmRow::Lift: return m.lift();
        case FilmRow::Gamma: return m.gamma();
        case FilmRow::Gain: return m.gain();
    }
    return 0.0;
}

void FilmPanel::SetModelValue(FilmRow row, double v) {
    GuiModel& m = model();
    switch (row) {
        case FilmRow::Exposure: m.setExposure(v); break;
        case FilmRow::Kelvin: m.setKelvin(v); break;
        case FilmRow::Saturation: m.setSaturation(v); break;
        case FilmRow::ColorAmount: m.setColorAmount(v); break;
        case FilmRow::SCurveAmount: m.setSCurveAmount(v); break;
        case FilmRow::Grain: m.setGrainAmount(v); break;
        case FilmRow::Lift: m.setLift(static_cast<float>(v)); break;
        case FilmRow::Gamma: m.setGamma(static_cast<float>(v)); break;
        case FilmRow::Gain: m.setGain(static_cast<float>(v)); break;
    }
}

// ---------------------------------------------------------------- user events

void FilmPanel::RowChanged(FilmRow row) {
    if (row == FilmRow::Lift || row == FilmRow::Gamma || row == FilmRow::Gain) {
        LiftGammaGainChanged();
        return;
    }
    const double v = c_.sliders[Index(row)]->doubleValue();
    if (v == ModelValue(row)) return;
    SetModelValue(row, v);
    ClearPresetNumber();
    if (row == FilmRow::ColorAmount) UpdateSCurveSliderSize();
}

void FilmPanel::LiftGammaGainChanged() {
    // Each of the three by itself; the preset number goes whether or not one moved.
    for (FilmRow row : {FilmRow::Lift, FilmRow::Gamma, FilmRow::Gain}) {
        const auto v = static_cast<float>(c_.sliders[Index(row)]->doubleValue());
        if (v != static_cast<float>(ModelValue(row))) SetModelValue(row, v);
    }
    ClearPresetNumber();
}

void FilmPanel::LevelsChanged() {
    const LevelPositions p = c_.levelSlider->positions();
    const GuiModel& m = model();
    if (!Differs(p.bottom, m.histogramBlack()) && !Differs(p.mid, m.histogramMid()) &&
        !Differs(p.top, m.histogramWhite()))
        return;
    model().setHistogramBlackMidWhite(p.bottom, p.mid, p.top);
    ctrl().LevelsChanged();
    ClearPresetNumber();
}

void FilmPanel::BallInfoChanged() {
    const ColorBallInfo info = c_.filmBallsBox->ballInfo();
    if (ColorBallData::IsSameDest(info, model().ballInfo())) return;
    model().setBallInfo(info);
    ClearPresetNumber();
}

void FilmPanel::BallWasReset(int which) {
    switch (which) {
        case 0: model().setLift(1.0f); break;
        case 1: model().setGamma(1.0f); break;
        case 2: model().setGain(1.0f); break;
        default: break;
    }
}

void FilmPanel::ResetFilmStockList() {
    c_.filmStockPopup->removeAllItems();
    for (const StockPopupItem& item : LutManager::StockPopupItems())
        c_.filmStockPopup->addItem(item.title, item.tag, item.enabled);
    c_.filmStockPopup->selectItemWithTag(LutManager::StockPopupItems().front().tag);
}

void FilmPanel::StockChanged() {
    const int tag = c_.filmStockPopup->selectedTag();
    if (tag == kSeparatorTag) {
        c_.filmStockPopup->selectItemWithTag(LutManager::PopupTagForStockName(model().stockName()));
        return;
    }
    const std::string name = LutManager::StockNameForTag(tag);
    const bool statusM =
        LutManager::StatusMAvailableForStockAndSource(name, model().clipSettings()->sourceCameraChosen().value_or(""));
    gui_.ShowColorSpacePopup(statusM);
    model().setStockName(name);
    c_.filmStockLabel->setStringValue(c_.filmStockPopup->selectedTitle());
    c_.filmStockBox->setStockId(tag);
    ctrl().StockChanged();
    gui_.QueueForcedUpdates();
    gui_.SaveUserDefaults();
    ClearPresetNumber();
}

void FilmPanel::PreviousStock() {
    c_.filmStockPopup->selectItemWithTag(LutManager::PreviousStockTagForTag(c_.filmStockPopup->selectedTag()));
    StockChanged();
}

void FilmPanel::NextStock() {
    c_.filmStockPopup->selectItemWithTag(LutManager::NextStockTagForTag(c_.filmStockPopup->selectedTag()));
    StockChanged();
}

void FilmPanel::GrainSizeChanged() {
    model().setGrainScale(c_.grainSizePopup->selectedTag() / 100.0);
    SetBlurRadius();
    ctrl().GrainSizeChanged();
    gui_.SaveUserDefaults();
    ClearPresetNumber();
}

void FilmPanel::SetBlurRadius() {
    model().setBlurRadius(GrainManager::BlurRadiusForTag(c_.grainSizePopup->selectedTag()));
    ctrl().SetBlurRadius();
}

void FilmPanel::PreLevelsChanged() {
    model().setPreLevels(c_.preLevelsRadio->state());
    ctrl().PreLevelsChanged();
    gui_.QueueForcedUpdates();
}

void FilmPanel::UseMetadataChecked() {
    model().setUseMetadata(gui_.useMetadataChecked());
    ctrl().UseMetadataChecked();
    ClearPresetNumber();
}

void FilmPanel::ResetKelvinClicked() {
    ctrl().ResetMetadataClicked();
    ClearPresetNumber();
}

void FilmPanel::UseDefaults() {
    gui_.LoadGUIFromUserDefaults();
    ClearPresetNumber();
}

void FilmPanel::ClearPresetNumber() {
    if (holdPresetNumber_) return;
    const auto& filename = model().filename();
    if (!filename || filename->empty()) return;
    SettingsManager& settings = SettingsManager::Instance();
    const ClipSettingsPtr stored = settings.SettingsForClip(*filename);
    if (!stored || stored->presetID().empty()) return;
    // The working copy too: the push when the clip is left would bring the preset back.
    for (ClipSettings* s : {stored.get(), model().clipSettings().get()}) {
        s->setPresetNumber(0);
        s->setPresetID("");
        s->setPresetName("");
    }
    settings.PushSettingsForClip(*stored, *filename);
    gui_.RedrawFilmStrip();
}

void FilmPanel::UpdateSCurveSliderSize() {
    SliderPort& color = *c_.sliders[Index(FilmRow::ColorAmount)];
    SliderPort& scurve = *c_.sliders[Index(FilmRow::SCurveAmount)];
    const int knob = scurve.knobThickness();
    scurve.setDrawnWidth(static_cast<int>((color.drawnWidth() - knob) * model().colorAmount()) + knob);
}

void FilmPanel::ForceUpdateRound() {
    c_.filmStockBox->setStockId(c_.filmStockPopup->selectedTag());
    c_.filmStockBox->display();
    c_.histogramView->display();
}

// ---------------------------------------------------------------- text entry

void FilmPanel::controlTextDidBeginEditing(PanelText field) {
    editing_ = field;
    textEditHolder_ = c_.texts[Index(field)]->stringValue();
}

bool FilmPanel::CheckForText(const std::string& key, PanelText field) {
    TextFieldPort& text = *c_.texts[Index(field)];
    const std::string typed = text.stringValue();
    if (typed.find(key) == std::string::npos) return false;
    Log()->info("[{}] was pressed in string [{}]", key, typed);
    text.setStringValue(textEditHolder_);
    ForceTextEditToEnd();
    return true;
}

void FilmPanel::controlTextDidChange(PanelText field) {
    textEditInProgress_ = true;
    editing_ = field;
    // Keys meant for the viewer never stay in a number.
    if (CheckForText(" ", field)) return gui_.PlayChanged();
    if (CheckForText("b", field)) return gui_.ToggleBypass();
    if (CheckForText("z", field)) return gui_.ToggleZoom();
    const bool level = field == PanelText::Black || field == PanelText::Mid || field == PanelText::White;
    if (!(level ? SetLevelsFromTextField(field) : SetSliderFromTextField(field))) return;
    if (!level) RowChanged(static_cast<FilmRow>(Index(field)));
    ctrl().ControlTextChanged();
}

bool FilmPanel::SetSliderFromTextField(PanelText field) {
    const FilmRow row = static_cast<FilmRow>(Index(field));
    const FilmRowSpec& spec = SpecOf(row);
    const std::string text = c_.texts[Index(field)]->stringValue();
    double v = std::strtod(text.c_str(), nullptr);
    if (spec.by == TextBy::Percent) {
        v = std::clamp(v / 100.0, spec.min, spec.max);
    } else if (v < spec.min || v > spec.max) {
        return false;
    }
    c_.sliders[Index(row)]->setDoubleValue(v);
    textEditHolder_ = text;
    return true;
}

bool FilmPanel::SetLevelsFromTextField(PanelText field) {
    const std::string text = c_.texts[Index(field)]->stringValue();
    const double v = std::clamp(std::atoi(text.c_str()) / 100.0, 0.0, 1.0);
    // One character may be the start of a longer number: no push yet.
    const bool shortText = text.size() < 2;
    LevelPositions p = c_.levelSlider->positions();
    switch (field) {
        case PanelText::Black:
            if (v >= p.mid && shortText) return true;
            c_.levelSlider->setPositionBottom(v >= p.mid ? p.mid - 0.01 : v);
            break;
        case PanelText::White:
            if (p.mid >= v && shortText) return true;
            c_.levelSlider->setPositionTop(p.mid >= v ? p.mid + 0.01 : v);
            break;
        case PanelText::Mid: {
            double m = v;
            if (m >= p.top) {
                if (shortText) return true;
                m = p.top - 0.01;
            }
            if (p.bottom >= m) {
                if (shortText) return true;
                m = p.bottom + 0.01;
            }
            c_.levelSlider->setPositionMid(m);
            break;
        }
        default:
            return false;
    }
    p = c_.levelSlider->positions();
    model().setHistogramBlackMidWhite(p.bottom, p.mid, p.top);
    ctrl().LevelsChanged();
    c_.levelSlider->display();
    return true;
}

void FilmPanel::ForceTextEditToEnd() {
    if (!textEditInProgress_) return;
    textEditInProgress_ = false;
    Log()->info("ForceTextEditToEnd");
}

void FilmPanel::controlTextDidEndEditing(PanelText /*field*/) {
    ctrl().ControlTextChanged();
    ForceTextEditToEnd();
}

// ---------------------------------------------------------------- the model's calls back

void FilmPanel::SetSlider(FilmRow row, double value) {
    SliderPort& s = *c_.sliders[Index(row)];
    if (s.doubleValue() == value) return;
    s.setDoubleValue(value);
    s.display();
}

void FilmPanel::SetTextfield(PanelText field, const std::string& text) {
    // The field being typed in keeps what the user typed.
    if (!(textEditInProgress_ && editing_ == field)) {
        TextFieldPort& t = *c_.texts[Index(field)];
        if (t.stringValue() != text) {
            t.setStringValue(text);
            t.display();
        }
    }
    model().setHistogramStale(true);
}

void FilmPanel::ShowRow(FilmRow row, double value) {
    SetSlider(row, value);
    const FilmRowSpec& spec = SpecOf(row);
    if (spec.text) SetTextfield(static_cast<PanelText>(Index(row)), FilmRowText(spec.by, value));
}

void FilmPanel::setLiftGammaGain(float lift, float gamma, float gain) {
    SetSlider(FilmRow::Lift, lift);
    SetSlider(FilmRow::Gamma, gamma);
    SetSlider(FilmRow::Gain, gain);
}

void FilmPanel::setBallInfo(const ColorBallInfo& info) {
    c_.filmBallsBox->PushColorBallPositions(info);
}

void FilmPanel::setHistogramLevel(PanelText field, double value) {
    switch (field) {
        case PanelText::Black: c_.levelSlider->setPositionBottom(value); break;
        case PanelText::Mid: c_.levelSlider->setPositionMid(value); break;
        case PanelText::White: c_.levelSlider->setPositionTop(value); break;
        default: return;
    }
    const std::string text = std::to_string(static_cast<int>(value * 100.0));
    if (!(textEditInProgress_ && editing_ == field) && c_.texts[Index(field)]->stringValue() != text)
        c_.texts[Index(field)]->setStringValue(text);
    c_.levelSlider->display();
}

void FilmPanel::setHistogramStale() {
    const GuiModel& m = model();
    const std::pair<PanelText, double> levels[] = {
        {PanelText::Black, m.histogramBlack()}, {PanelText::Mid, m.histogramMid()}, {PanelText::White, m.histogramWhite()}};
    for (const auto& [field, value] : levels) {
        const std::string text = std::to_string(static_cast<int>(value * 100.0));
        if (!(textEditInProgress_ && editing_ == field) && c_.texts[Index(field)]->stringValue() != text)
            c_.texts[Index(field)]->setStringValue(text);
    }
    c_.histogramView->display();
}

void FilmPanel::setGrainScale(double value) {
    const int tag = static_cast<int>(std::lround(value * 100.0));
    if (c_.grainSizePopup->selectedTag() != tag) c_.grainSizePopup->selectItemWithTag(tag);
    SetBlurRadius();
    ctrl().GrainSizeChanged();
}

void FilmPanel::setStockName(const std::string& name) {
    const int tag = LutManager::PopupTagForStockName(name);
    if (c_.filmStockPopup->selectedTag() != tag) c_.filmStockPopup->selectItemWithTag(tag);
    c_.filmStockLabel->setStringValue(c_.filmStockPopup->selectedTitle());
    c_.filmStockBox->setStockId(tag);
}

void FilmPanel::setUseMetadata(bool value) {
    c_.sliders[Index(FilmRow::Exposure)]->setEnabled(!value);
    c_.sliders[Index(FilmRow::Kelvin)]->setEnabled(!value);
    // Only the controls move: the event below redraws once.
    ShowRow(FilmRow::Exposure, value ? model().metadataExposure() : model().exposure());
    ShowRow(FilmRow::Kelvin, value ? model().metadataKelvin() : model().kelvin());
}

}  // namespace ombrel
