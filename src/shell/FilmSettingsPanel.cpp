#include "shell/FilmSettingsPanel.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QVBoxLayout>

#include "model/Gauge.h"
#include "shell/ShellControls.h"

namespace ombrel {

namespace {

const char* const kRowTitles[kFilmRows] = {"Exposure", "Color Temp", "Saturation", "Color",
                                           "S-Curve",  "Grain",      "Lift",       "Gamma", "Gain"};
const char* const kLevelTexts[3] = {"blackText", "midText", "whiteText"};
// Each slider column is this wide, so the S-curve slider's length can follow the colour amount.
constexpr int kSliderWidth = 170;

QPushButton* SmallButton(const char* name, const char* title, QWidget* parent) {
    auto* b = new QPushButton(title, parent);
    b->setObjectName(name);
    b->setFocusPolicy(Qt::NoFocus);
    b->setFixedHeight(22);
    return b;
}

}  // namespace

PreLevelsRadio::PreLevelsRadio(QWidget* parent) : QWidget(parent) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    pre_ = new QRadioButton("Before levels", this);
    post_ = new QRadioButton("After levels", this);
    pre_->setObjectName("preLevelsRadioPre");
    post_->setObjectName("preLevelsRadioPost");
    for (QRadioButton* b : {pre_, post_}) {
        b->setFocusPolicy(Qt::NoFocus);
        row->addWidget(b);
    }
    row->addStretch(1);
    pre_->setChecked(true);
}

FilmSettingsPanel::FilmSettingsPanel(GuiController& controller, QWidget* parent)
    : QWidget(parent), controller_(controller) {
    setObjectName("filmSettingsPanel");
    setFixedWidth(320);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(6, 2, 6, 2);
    column->setSpacing(3);
    FilmPanel& panel = controller_.filmPanel();

    // The stock: the popup between its neighbours, the swatch and the stock's title.
    column->addWidget(Section("FILM STOCK"));
    auto* stockRow = new QHBoxLayout;
    auto* previous = SmallButton("previousStockButton", "\u25C0", this);
    auto* next = SmallButton("nextStockButton", "\u25B6", this);
    previous->setFixedWidth(26);
    next->setFixedWidth(26);
    stockPopup_ = new TagPopup(this);
    stockPopup_->setObjectName("filmStockPopup");
    stockPopup_->setFocusPolicy(Qt::NoFocus);
    stockRow->addWidget(previous);
    stockRow->addWidget(stockPopup_, 1);
    stockRow->addWidget(next);
    column->addLayout(stockRow);
    stockBox_ = new FilmStockBox(this);
    stockBox_->setObjectName("filmStockBox");
    column->addWidget(stockBox_);
    stockLabel_ = new QLabel(this);
    stockLabel_->setObjectName("filmStockLabel");
    stockLabel_->setAlignment(Qt::AlignCenter);
    stockLabel_->setStyleSheet("color: #c8c8cc; font-weight: bold");
    column->addWidget(stockLabel_);
    auto* gaugeRow = new QHBoxLayout;
    auto* gaugeTitle = new QLabel("Gauge", this);
    gaugeTitle->setFixedWidth(70);
    gaugePopup_ = new TagPopup(this);
    gaugePopup_->setObjectName("grainSizePopup");
    gaugePopup_->setFocusPolicy(Qt::NoFocus);
    for (const Gauge& g : GaugeList()) gaugePopup_->addItem(g.name, g.tag, true);
    gaugePopup_->selectItemWithTag(100);
    gaugeRow->addWidget(gaugeTitle);
    gaugeRow->addWidget(gaugePopup_, 1);
    column->addLayout(gaugeRow);

    // The six value rows.
    column->addWidget(Section("GRADE"));
    for (size_t i = 0; i < 6; ++i) column->addWidget(Row(static_cast<FilmRow>(i)));

    // The levels and the histogram's side of them.
    column->addWidget(Section("LEVELS"));
    levels_ = new LevelsSliderView(this);
    levels_->setObjectName("levelSlider");
    column->addWidget(levels_);
    auto* levelRow = new QHBoxLayout;
    for (size_t i = 0; i < 3; ++i) {
        auto* t = new PanelTextField(this);
        t->setObjectName(kLevelTexts[i]);
        texts_[static_cast<size_t>(PanelText::Black) + i] = t;
        if (i > 0) levelRow->addStretch(1);
        levelRow->addWidget(t);
    }
    column->addLayout(levelRow);
    preLevels_ = new PreLevelsRadio(this);
    preLevels_->setObjectName("preLevelsRadio");
    column->addWidget(preLevels_);

    // The colour balls carry the lift, gamma and gain sliders.
    column->addWidget(Section("COLOR BALLS"));
    balls_ = new ColorBallsBox(this);
    balls_->setObjectName("filmBallsBox");
    balls_->setMinimumHeight(126);
    column->addWidget(balls_);
    for (int i = 0; i < 3; ++i) sliders_[static_cast<size_t>(FilmRow::Lift) + static_cast<size_t>(i)] = balls_->slider(i);

    auto* buttons = new QHBoxLayout;
    auto* resetKelvin = SmallButton("resetToMetadataButton", "Reset to Metadata", this);
    auto* defaults = SmallButton("useDefaultsButton", "Defaults", this);
    buttons->addWidget(resetKelvin);
    buttons->addWidget(defaults);
    column->addLayout(buttons);
    column->addStretch(1);

    // User events only: every port move blocks these.
    for (size_t i = 0; i < kFilmRows; ++i) {
        const auto row = static_cast<FilmRow>(i);
        sliders_[i]->onUserChange([&panel, row] { panel.RowChanged(row); });
    }
    for (size_t i = 0; i < kPanelTexts; ++i) {
        const auto field = static_cast<PanelText>(i);
        PanelTextField* t = texts_[i];
        t->onBegin([&panel, field] { panel.controlTextDidBeginEditing(field); });
        connect(t, &QLineEdit::textEdited, this, [&panel, field] { panel.controlTextDidChange(field); });
        connect(t, &QLineEdit::editingFinished, this, [&panel, field, t] {
            t->closeEdit();
            panel.controlTextDidEndEditing(field);
        });
    }
    levels_->onUserChange([&panel] { panel.LevelsChanged(); });
    balls_->onBallsMoved([&panel] { panel.BallInfoChanged(); });
    balls_->onBallReset([&panel](int which) { panel.BallWasReset(which); });
    connect(stockPopup_, &QComboBox::activated, this, [&panel] { panel.StockChanged(); });
    connect(previous, &QPushButton::clicked, this, [&panel] { panel.PreviousStock(); });
    connect(next, &QPushButton::clicked, this, [&panel] { panel.NextStock(); });
    connect(gaugePopup_, &QComboBox::activated, this, [&panel] { panel.GrainSizeChanged(); });
    for (QRadioButton* b : {preLevels_->pre(), preLevels_->post()})
        connect(b, &QRadioButton::clicked, this, [&panel] { panel.PreLevelsChanged(); });
    connect(resetKelvin, &QPushButton::clicked, this, [&panel] { panel.ResetKelvinClicked(); });
    connect(defaults, &QPushButton::clicked, this, [&panel] { panel.UseDefaults(); });
}

QWidget* FilmSettingsPanel::Section(const char* title) {
    auto* l = new QLabel(title, this);
    l->setStyleSheet("color: #8a8a90; font-size: 9pt; letter-spacing: 1px; padding-top: 4px");
    return l;
}

QWidget* FilmSettingsPanel::Row(FilmRow row) {
    const auto i = static_cast<size_t>(row);
    const FilmRowSpec& spec = SpecOf(row);
    auto* w = new QWidget(this);
    auto* line = new QHBoxLayout(w);
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(6);
    auto* title = new QLabel(kRowTitles[i], w);
    title->setFixedWidth(70);
    title->setStyleSheet("color: #b4b4b8");
    sliders_[i] = new ValueSlider(w);
    sliders_[i]->setObjectName(spec.slider);
    sliders_[i]->setFixedWidth(kSliderWidth);
    texts_[i] = new PanelTextField(w);
    texts_[i]->setObjectName(spec.text);
    line->addWidget(title);
    line->addWidget(sliders_[i]);
    line->addStretch(1);
    line->addWidget(texts_[i]);
    return w;
}

void FilmSettingsPanel::Wire(ControlPort* histogramView) {
    FilmPanelControls c;
    for (size_t i = 0; i < kFilmRows; ++i) c.sliders[i] = sliders_[i];
    for (size_t i = 0; i < kPanelTexts; ++i) c.texts[i] = texts_[i];
    c.levelSlider = levels_;
    c.filmStockPopup = stockPopup_;
    auto label = std::make_shared<QtLabel>(stockLabel_);
    keep_.push_back(label);
    c.filmStockLabel = label.get();
    c.filmStockBox = stockBox_;
    c.grainSizePopup = gaugePopup_;
    c.filmBallsBox = balls_;
    c.preLevelsRadio = preLevels_;
    c.histogramView = histogramView;
    controller_.filmPanel().setControls(c);
    // The rows show the model's values until a clip brings its own.
    const GuiModel& m = *controller_.guiModel();
    const double values[kFilmRows] = {m.exposure(),    m.kelvin(),       m.saturation(),
                                      m.colorAmount(), m.sCurveAmount(), m.grainAmount(),
                                      m.lift(),        m.gamma(),        m.gain()};
    for (size_t i = 0; i < kFilmRows; ++i) {
        sliders_[i]->setDoubleValue(values[i]);
        if (FilmRowSpecs()[i].text) texts_[i]->setStringValue(FilmRowText(FilmRowSpecs()[i].by, values[i]));
    }
    levels_->setPositionBottom(m.histogramBlack());
    levels_->setPositionMid(m.histogramMid());
    levels_->setPositionTop(m.histogramWhite());
    controller_.filmPanel().setHistogramStale();
}

}  // namespace ombrel
