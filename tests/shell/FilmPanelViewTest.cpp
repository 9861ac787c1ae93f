#include <gtest/gtest.h>

#include <QCheckBox>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMouseEvent>

#include <cmath>

#include "support/OffscreenApp.h"
#include "look/LutManager.h"
#include "shell/MainWindow.h"

namespace ombrel {
namespace {

class FilmPanelView : public ::testing::Test {
protected:
    void SetUp() override {
        test::OffscreenApp();
        window_ = std::make_unique<MainWindow>("0.1.0");
        model_ = window_->controller().guiModel();
    }
    template <typename T = QWidget>
    T* Find(const char* name) {
        T* w = window_->findChild<T*>(name);
        EXPECT_TRUE(w) << name;
        return w;
    }
    // Keys into a field; `fresh` types over what it holds, as a user who selects it first.
    void Type(const char* field, const QString& keys, bool fresh = false) {
        if (fresh) Find<QLineEdit>(field)->selectAll();
        for (const QChar ch : keys) {
            QKeyEvent key(QEvent::KeyPress, 0, Qt::NoModifier, QString(ch));
            QApplication::sendEvent(Find<QLineEdit>(field), &key);
        }
    }
    void Mouse(QWidget* w, QEvent::Type type, QPointF at, Qt::MouseButtons buttons = Qt::LeftButton) {
        QMouseEvent e(type, at, w->mapToGlobal(at), Qt::LeftButton, buttons, Qt::NoModifier);
        QApplication::sendEvent(w, &e);
    }
    std::unique_ptr<MainWindow> window_;
    GuiModel* model_ = nullptr;
};

TEST_F(FilmPanelView, ControlsCarryTheirFieldNames) {
    for (const FilmRowSpec& row : FilmRowSpecs()) {
        EXPECT_TRUE(window_->findChild<QSlider*>(row.slider)) << row.slider;
        if (row.text) {
            EXPECT_TRUE(window_->findChild<QLineEdit*>(row.text)) << row.text;
        }
    }
    for (const char* name : {"blackText", "midText", "whiteText", "levelSlider", "filmStockPopup", "filmStockLabel",
                             "filmStockBox", "grainSizePopup", "filmBallsBox", "preLevelsRadio",
                             "resetToMetadataButton", "useDefaultsButton", "previousStockButton", "nextStockButton"})
        EXPECT_TRUE(window_->findChild<QWidget*>(name)) << name;
    // No validator: the panel's own rules read what is typed.
    for (auto* field : window_->findChild<QWidget*>("filmSettingsPanel")->findChildren<QLineEdit*>())
        EXPECT_EQ(field->validator(), nullptr) << field->objectName().toStdString();
}

// Per row: a step of the slider as the user moves it, and what the model then holds.
struct RowMove {
    FilmRow row;
    int step;
    double value;
    const char* text;
};

TEST_F(FilmPanelView, AUserMoveGoesRoundOnceAndAProgramMoveNotAtAll) {
    const RowMove moves[] = {
        {FilmRow::Exposure, 600, 1.0, "1.00"},     {FilmRow::Kelvin, 250, 4500.0, "4500"},
        {FilmRow::Saturation, 750, 1.5, "1.50"},   {FilmRow::ColorAmount, 400, 0.4, "40"},
        {FilmRow::SCurveAmount, 300, 0.3, "30"},   {FilmRow::Grain, 100, 0.1, "10"},
        {FilmRow::Lift, 300, 0.8, nullptr},        {FilmRow::Gamma, 700, 1.2, nullptr},
        {FilmRow::Gain, 900, 1.4, nullptr},
    };
    auto modelValue = [this](FilmRow row) {
        const double v[] = {model_->exposure(),    model_->kelvin(), model_->saturation(),
                            model_->colorAmount(), model_->sCurveAmount(), model_->grainAmount(),
                            model_->lift(),        model_->gamma(),  model_->gain()};
        return v[static_cast<size_t>(row)];
    };
    for (const RowMove& m : moves) {
        const FilmRowSpec& spec = SpecOf(m.row);
        auto* slider = Find<ValueSlider>(spec.slider);
        const double before = modelValue(m.row);
        slider->setDoubleValue(spec.max);  // the port's move
        EXPECT_EQ(modelValue(m.row), before) << spec.slider;
        int textChanges = 0;
        if (spec.text)
            QObject::connect(Find<QLineEdit>(spec.text), &QLineEdit::textChanged, [&] { ++textChanges; });
        slider->setValue(m.step);  // the user's
        EXPECT_NEAR(modelValue(m.row), m.value, 1e-6) << spec.slider;
        if (!spec.text) continue;
        EXPECT_EQ(Find<QLineEdit>(spec.text)->text().toStdString(), m.text);
        EXPECT_EQ(textChanges, 1) << spec.slider;
    }
    // The S-curve slider is as long as the colour amount: (170 - knob 10) x 0.4 + 10.
    EXPECT_EQ(Find<QSlider>("sCurveAmountSlider")->width(), 74);
}

TEST_F(FilmPanelView, TypedTextStaysAsTypedAndViewerKeysArePutBack) {
    Type("exposureText", "1", true);
    EXPECT_EQ(model_->exposure(), 1.0);
    EXPECT_EQ(Find<QLineEdit>("exposureText")->text(), "1");  // not "1.00" before the point comes
    Type("exposureText", ".5");
    EXPECT_EQ(model_->exposure(), 1.5);
    Type("kelvinText", "0");  // "56000": outside the slider, ignored, the text kept
    EXPECT_EQ(model_->kelvin(), 5600.0);
    EXPECT_EQ(Find<QLineEdit>("kelvinText")->text(), "56000");
    QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    QApplication::sendEvent(Find<QLineEdit>("kelvinText"), &enter);
    Type("saturationText", "b");
    EXPECT_TRUE(model_->showOriginal());
    EXPECT_EQ(Find<QLineEdit>("saturationText")->text(), "1.00");
}

TEST_F(FilmPanelView, ALevelDragMovesTheModel) {
    window_->resize(1600, 1000);
    window_->show();
    auto* levels = Find<LevelsSliderView>("levelSlider");
    const double units = levels->width() - 43.0 - 2.0 * LevelsSliderView::kInset;
    const QPointF from(levels->HandleX(0.0), 24);
    Mouse(levels, QEvent::MouseButtonPress, from);
    Mouse(levels, QEvent::MouseMove, from + QPointF(units * 0.2, 0));
    Mouse(levels, QEvent::MouseButtonRelease, from + QPointF(units * 0.2, 0), Qt::NoButton);
    EXPECT_NEAR(model_->histogramBlack(), 0.2, 0.01);
    EXPECT_NEAR(model_->histogramMid(), 0.6, 0.01);  // still halfway
    EXPECT_EQ(Find<QLineEdit>("blackText")->text(), QString::number(static_cast<int>(model_->histogramBlack() * 100)));
}

TEST_F(FilmPanelView, StocksGaugesAndBalls) {
    auto* stocks = Find<TagPopup>("filmStockPopup");
    auto choose = [](TagPopup* popup, int index) {
        popup->setCurrentIndex(index);
        emit popup->activated(index);
    };
    choose(stocks, stocks->findData(5));
    EXPECT_EQ(model_->stockName(), LutManager::StockNameForTag(5));
    EXPECT_EQ(Find<QLabel>("filmStockLabel")->text(), stocks->currentText());
    EXPECT_EQ(Find<FilmStockBox>("filmStockBox")->stockId(), 5);
    choose(stocks, stocks->findData(kSeparatorTag));  // goes back to the model's stock
    EXPECT_EQ(stocks->currentData().toInt(), 5);
    Find<QPushButton>("nextStockButton")->click();
    EXPECT_EQ(model_->stockName(), LutManager::StockNameForTag(6));
    choose(Find<TagPopup>("grainSizePopup"), Find<TagPopup>("grainSizePopup")->findData(200));
    EXPECT_EQ(model_->grainScale(), 2.0);
    EXPECT_NEAR(model_->blurRadius(), 0.55, 1e-6);

    window_->resize(1600, 1000);
    window_->show();
    auto* box = Find<ColorBallsBox>("filmBallsBox");
    ColorWheel* mid = box->wheel(1);
    Mouse(mid, QEvent::MouseButtonPress, mid->Centre() + QPointF(mid->Radius() * 0.4, 0));
    EXPECT_NEAR(model_->ballInfo().m[0], 0.5f, 0.05f);
    EXPECT_NEAR(model_->ballInfo().m[1], 0.0f, 0.05f);
    box->slider(2)->setValue(900);
    ASSERT_NE(model_->gain(), 1.0f);
    Mouse(box->wheel(2), QEvent::MouseButtonDblClick, QPointF(5, 5));
    EXPECT_EQ(model_->gain(), 1.0f);
    EXPECT_EQ(box->slider(2)->doubleValue(), 1.0);
}

}  // namespace
}  // namespace ombrel
