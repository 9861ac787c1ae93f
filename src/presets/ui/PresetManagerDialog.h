#pragma once

#include <QDialog>

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "presets/PresetManagerGuiController.h"

class QCheckBox;
class QComboBox;
class QLineEdit;
class QPushButton;
class QTableWidget;

namespace ombrel::presets {

// The preset manager sheet: the library shown, its presets in five columns (thumbnail, the look,
// tick, name, trash), and the move, copy, new, rename, export and import controls. Every control
// carries the name of the field it stands for as its objectName.
class PresetManagerDialog : public QDialog, public PresetManagerPort {
public:
    using PathChooser = std::function<std::optional<std::string>(const std::string& title)>;

    // The choosers ask for a file to write and a file to read; the window passes its own, so that
    // a script can answer them.
    PresetManagerDialog(QWidget* parent, PathChooser chooseSavePath, PathChooser chooseFile);
    ~PresetManagerDialog() override;

    PresetManagerGuiController& controller() { return controller_; }

    // PresetManagerPort
    void ReloadTable() override;
    void PopupsChanged() override;
    void ShowLibraryNameWindow(const std::string& buttonTitle, const std::string& name) override;
    void CloseLibraryNameWindow() override;
    // Window-modal and not blocking, as a sheet is.
    void RunSheet() override { open(); }
    void CloseSheet() override { done(0); }
    std::optional<std::string> ChooseSavePath(const std::string& title) override { return chooseSavePath_(title); }
    std::optional<std::string> BrowseForFile(const std::string& title) override { return chooseFile_(title); }

protected:
    void reject() override { controller_.DonePressed(); }

private:
    void BuildNameWindow();
    void CellClicked(int row, int column);

    PresetManagerGuiController controller_;
    PathChooser chooseSavePath_, chooseFile_;
    QComboBox* libraryPopup_ = nullptr;
    QComboBox* targetLibraryPopup_ = nullptr;
    QComboBox* targetActionPopup_ = nullptr;
    QComboBox* groupNamesPopup_ = nullptr;
    QCheckBox* selectAllCheckbox_ = nullptr;
    QTableWidget* presetTable_ = nullptr;
    QDialog* libraryNameWindow_ = nullptr;
    QLineEdit* newLibraryName_ = nullptr;
    QPushButton* createLibraryGoButton_ = nullptr;
    bool filling_ = false;  // the popups are being refilled: their signals are ours, not the user's
};

}  // namespace ombrel::presets
