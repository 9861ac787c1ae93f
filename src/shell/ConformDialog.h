#pragma once

#include <QDialog>

#include <memory>
#include <vector>

#include "shell/ShellControls.h"
#include "shell/logic/ConformSheet.h"
#include "shell/logic/GuiController.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QRadioButton;
class QStackedWidget;

namespace ombrel {

// The conform sheet: input file, footage folder, type and kind, four stage rows, the log on the
// detail page and the loaded clips on the summary page.
class ConformDialog : public QDialog, public SheetPort {
public:
    ConformDialog(GuiController& controller, QWidget* parent);
    ~ConformDialog() override;
    ConformSheet& sheet() { return *sheet_; }
    // Window-modal and not blocking, as a sheet is.
    void RunSheet() override { open(); }
    void CloseSheet() override { done(0); }

protected:
    void reject() override;

private:
    std::unique_ptr<ConformSheet> sheet_;
    ShotListTable* table_ = nullptr;
    std::vector<std::shared_ptr<void>> keep_;
};

}  // namespace ombrel
