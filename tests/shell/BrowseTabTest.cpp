// The browse tab's views offscreen: field names, volumes from a fake lister, a scan through
// the folder tree, drags into the shot list, the Delete key, the radio groups.
#include <gtest/gtest.h>

#include <QApplication>
#include <QMimeData>
#include <QRadioButton>
#include <QKeyEvent>
#include <QUrl>


#include "core/MainQueue.h"
#include "core/Paths.h"
#include "shell/BrowseTab.h"
#include "support/ClipFiles.h"
#include "support/OffscreenApp.h"

namespace ombrel {
namespace {

QApplication& App() { return test::OffscreenApp(); }

struct FakeLister : VolumeLister {
    std::vector<MountEntry> mounted = {{"/", "/", "ext4", "/dev/sda1"}, {"/", "/net", "autofs", "auto.net"}};
    std::vector<MountEntry> MountedVolumes() override { return mounted; }
};

class BrowseTabTest : public ::testing::Test {
protected:
    void SetUp() override {
        App();
        home = HomeFolder();
        test::Touch(home + "/card/a/b/Take 1.mov", test::kMovieSize);    // three folders down
        test::Touch(home + "/card/a/b/c/Take 2.mov", test::kMovieSize);  // four: not seen
        test::Touch(home + "/card/Take 0.mov", test::kMovieSize);
        tab = std::make_unique<BrowseTab>(controller);
        GuiControls c;
        c.shotListTable = tab->shotListTablePort();
        c.shotListTableIcon = tab->shotListTableIconPort();
        c.shotsFoundTableIcon = tab->shotsFoundTableIconPort();
        controller.setControls(c);
        tab->setVolumeLister(&lister);
        tab->Wire();
        tab->resize(1200, 600);
        tab->show();
    }
    template <typename T>
    T* Find(const char* name) {
        return tab->findChild<T*>(name);
    }
    std::vector<std::string> VolumeNames() {
        std::vector<std::string> names;
        DriveTreeModel* m = tab->driveModel();
        for (int i = 0; i < m->rowCount(m->index(0, 0)); ++i)
            names.push_back(m->index(i, 0, m->index(0, 0)).data().toString().toStdString());
        return names;
    }
    // Chooses the folder "card" in the tree and waits for its scan.
    void ScanCard() {
        FolderTreeModel* m = tab->folderModel();
        QModelIndex card;
        for (int i = 0; i < m->rowCount(); ++i)
            if (m->index(i, 0).data().toString() == "card") card = m->index(i, 0);
        ASSERT_TRUE(card.isValid());
        Find<QTreeView>("fileTree")->setCurrentIndex(card);
        MainQueue::Instance().ServeUntil([&] { return !tab->shots().isScanning(); });
    }
    std::string home;
    FakeLister lister;
    GuiController controller;
    std::unique_ptr<BrowseTab> tab;
};

TEST_F(BrowseTabTest, ControlsCarryTheirFieldNames) {
    for (const char* name : {"driveTree", "fileTree", "driveTreeTab", "currentDriveIcon", "currentDriveLabel",
                             "shotsFoundTable", "shotsFoundTableIcon", "shotsFoundRadio", "shotsTabView",
                             "shotListTable", "shotListTableIcon", "shotListRadio", "shotListTabView", "overlayBox",
                             "overlaySpinner", "overlayCancelButton"})
        EXPECT_TRUE(Find<QObject>(name)) << name;
}

TEST_F(BrowseTabTest, AFakeListerMountsAndUnmountsAVolume) {
    EXPECT_EQ(VolumeNames(), (std::vector<std::string>{LastPathComponent(home), "File System"}));
    EXPECT_EQ(Find<QLabel>("currentDriveLabel")->text().toStdString(), LastPathComponent(home));
    lister.mounted.push_back({"/", "/media/u/CARD", "vfat", "/dev/sdb1"});
    tab->PollVolumes();
    EXPECT_EQ(VolumeNames(), (std::vector<std::string>{LastPathComponent(home), "File System", "CARD"}));
    EXPECT_EQ(Find<QStackedWidget>("driveTreeTab")->currentIndex(), 1) << "a mount shows the volumes";
    lister.mounted.pop_back();
    tab->PollVolumes();
    EXPECT_EQ(VolumeNames(), (std::vector<std::string>{LastPathComponent(home), "File System"}));
}

TEST_F(BrowseTabTest, AScanSeesThreeFoldersDownAndItsDragFillsTheShotList) {
    ScanCard();
    ClipListModel* found = tab->foundModel();
    ASSERT_EQ(found->rowCount(), 2);
    EXPECT_EQ(found->paths()[0], home + "/card/Take 0.mov");
    EXPECT_EQ(found->paths()[1], home + "/card/a/b/Take 1.mov");
    EXPECT_TRUE(Find<QTreeView>("fileTree")->isEnabled());
    EXPECT_TRUE(Find<QWidget>("overlayBox")->isHidden());

    std::unique_ptr<QMimeData> drag(found->mimeData({found->index(1, 0), found->index(0, 0)}));
    ASSERT_TRUE(drag);
    EXPECT_TRUE(drag->hasFormat("text/uri-list"));
    ASSERT_EQ(drag->urls().size(), 2);
    EXPECT_EQ(drag->urls()[0].toLocalFile().toStdString(), home + "/card/Take 0.mov");
    ClipListModel* shots = tab->shotListModel();
    ASSERT_TRUE(shots->canDropMimeData(drag.get(), Qt::CopyAction, -1, -1, {}));
    ASSERT_TRUE(shots->dropMimeData(drag.get(), Qt::CopyAction, -1, -1, {}));
    ASSERT_TRUE(shots->dropMimeData(drag.get(), Qt::CopyAction, -1, -1, {}));
    EXPECT_EQ(controller.shotList().Count(), 2u) << "a clip goes in once";
    EXPECT_EQ(shots->rowCount(), 2);

    auto* list = Find<ClipListView>("shotListTable");
    list->setCurrentIndex(shots->index(0, 0));
    QKeyEvent del(QEvent::KeyPress, Qt::Key_Delete, Qt::NoModifier);
    QApplication::sendEvent(list, &del);
    ASSERT_EQ(controller.shotList().Count(), 1u);
    EXPECT_EQ(shots->paths(), (std::vector<std::string>{home + "/card/a/b/Take 1.mov"}));
}

TEST_F(BrowseTabTest, TheRadioGroupsChooseListOrIcons) {
    Find<QRadioButton>("shotsFoundRadioIcons")->click();
    EXPECT_EQ(Find<QStackedWidget>("shotsTabView")->currentIndex(), 1);
    EXPECT_EQ(Find<QStackedWidget>("shotListTabView")->currentIndex(), 0);
    Find<QRadioButton>("shotListRadioIcons")->click();
    Find<QRadioButton>("shotsFoundRadioList")->click();
    EXPECT_EQ(Find<QStackedWidget>("shotsTabView")->currentIndex(), 0);
    EXPECT_EQ(Find<QStackedWidget>("shotListTabView")->currentIndex(), 1);
}

}  // namespace
}  // namespace ombrel
