#pragma once

#include <QListWidget>
#include <QPushButton>
#include <QWidget>

#include <functional>
#include <memory>

#include "shell/FilmPanelWidgets.h"
#include "shell/logic/GuiController.h"
#include "shell/logic/PresetBar.h"
#include "sources/R3DView.h"

namespace ombrel {

// A new preset's icon: the picture on screen at the strip's thumbnail size; null without one.
ImagePtr PresetIconFromPreview(const PreviewImage* preview);

// The presets of the current library as 80 x 44 thumbnails with their names: a click loads
// one onto the open clip, Delete removes the selected ones, F2 or a double-click renames.
class PresetStrip : public QListWidget, public ListView {
public:
    explicit PresetStrip(QWidget* parent = nullptr);
    void ReloadData() override;
    void Display() override { viewport()->repaint(); }
    std::vector<size_t> SelectedRowIndexes() const override;
    void SelectRowIndexes(const std::vector<size_t>& rows) override;
    void onDelete(std::function<void()> fn) { onDelete_ = std::move(fn); }

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    std::function<void()> onDelete_;
};

// The preset bar under the film strip: the library popup, the save button and the strip.
class PresetBarView : public QWidget {
public:
    PresetBarView(GuiController& controller, QWidget* parent = nullptr);
    // `thumbnail` gives the picture on screen for a new preset's icon.
    void Wire(ListView* shotListTable, std::function<ImagePtr()> thumbnail);
    PresetBar& bar() { return *bar_; }
    PresetStrip* strip() const { return strip_; }

private:
    std::unique_ptr<PresetBar> bar_;
    TagPopup* groups_;
    QPushButton* save_;
    PresetStrip* strip_;
    bool filling_ = false;
};

}  // namespace ombrel
