#pragma once

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QWidget>

#include <memory>
#include <vector>

#include "shell/ShellControls.h"
#include "shell/logic/GuiController.h"
#include "shell/logic/RenderPanelPorts.h"
#include "shell/logic/SizeGuiController.h"

namespace ombrel {

// A popup whose items the controller edits.
class QtMenuPopup : public MenuPopupPort {
public:
    explicit QtMenuPopup(QComboBox* w) : w_(w) {}
    void selectItemWithTag(int tag) override { w_->setCurrentIndex(w_->findData(tag)); }
    int selectedTag() const override { return w_->currentIndex() < 0 ? -1 : w_->currentData().toInt(); }
    void setEnabled(bool on) override { w_->setEnabled(on); }
    void setHidden(bool hidden) override { w_->setHidden(hidden); }
    int numberOfItems() const override { return w_->count(); }
    int tagAtIndex(int index) const override { return w_->itemData(index).toInt(); }
    std::string titleAtIndex(int index) const override { return w_->itemText(index).toStdString(); }
    void removeItemAtIndex(int index) override { w_->removeItem(index); }
    void addItem(const std::string& title, int tag) override { w_->addItem(QString::fromStdString(title), tag); }
    void selectItemAtIndex(int index) override { w_->setCurrentIndex(index); }
    int indexOfSelectedItem() const override { return w_->currentIndex(); }

private:
    QComboBox* w_;
};

// The size panel: width and height fields that take digits only, within their limits.
class SizeDialog : public QDialog, public SizePanelPort {
public:
    SizeDialog(SizeGuiController& logic, QWidget* parent);
    void RunSizeWindow() override;
    void CloseSizeWindow() override { done(0); }
    void RunSizeErrorWindow() override;
    void CloseSizeErrorWindow() override;
    TextFieldPort* widthPort() { return widthPort_.get(); }
    TextFieldPort* heightPort() { return heightPort_.get(); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    SizeGuiController& logic_;
    QLineEdit* width_;
    QLineEdit* height_;
    QDialog* error_;
    std::unique_ptr<TextFieldPort> widthPort_, heightPort_;
};

// The render tab: output options, destination folders, the render button and the progress,
// bound to the controller's render panel.
class RenderTab : public QWidget {
public:
    RenderTab(GuiController& controller, QWidget* parent = nullptr);
    ~RenderTab() override;
    ShotListTable* renderTable() const { return renderTable_; }
    // The window's panels, and the controls that live elsewhere in it: the colour format popup
    // and the tab buttons.
    void Wire(QtModal& modal, QComboBox* colorSpacePopup, QPushButton* const tabButtons[3]);

private:
    QComboBox* Popup(const char* name, std::initializer_list<std::pair<const char*, int>> items);

    GuiController& controller_;
    QtModal* modal_ = nullptr;
    QComboBox *format_, *size_, *fit_, *filenames_, *edl_, *folders_, *timecode_, *dest_;
    QCheckBox* overwrite_;
    QPushButton *browse_, *render_;
    QGroupBox *formatBox_, *foldersBox_, *destBox_;
    QProgressBar* progress_;
    QLabel *frames_, *fps_, *elapsed_, *eta_, *rendered_;
    ShotListTable* renderTable_;
    SizeDialog* sizeDialog_;
    std::vector<std::shared_ptr<void>> keep_;
};

}  // namespace ombrel
