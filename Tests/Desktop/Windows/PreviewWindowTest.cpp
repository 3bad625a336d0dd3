#include <QGridLayout>
#include <QScrollBar>
#include <QTest>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "Desktop/Windows/PreviewWindow.hpp"
#include "Support/IndexBuilder.hpp"
#include "Support/TemporaryTree.hpp"

namespace dovra {
namespace {

using testing::ElementsAre;

/// A preview beside a window, whose loads wait until the test runs them.
class PreviewWindowTest : public testing::Test {
protected:
    void SetUp() override {
        preview_.onKey = [this](KeyAction action) { keys_.push_back(action); };
        preview_.onAction = [this](RowAction, const FileRow& row) { opened_.push_back(row.name); };
        preview_.onTyped = [this](const QString& text) { typed_ += text; };
        rows_.show();
    }

    FileRow row(std::string_view name, bool isDir = false) const {
        return {.id = 1, .name = std::string(name), .path = tree_.path(), .size = 3, .isDir = isDir};
    }

    /// Presents a row, and shows what is loaded for it.
    void present(const FileRow& row) {
        preview_.present(&row, rows_);
        waitForPause();
        runLoads();
    }

    void waitForPause() {
        now_ += 2 * PreviewRequests::pause;
        queue_->run();
    }

    void runLoads() {
        for (const auto& load : std::exchange(loads_, {}))
            load();
        queue_->run();
    }

    /// The text of the page that is shown.
    QString shownText() const {
        const QWidget* page = preview_.findChild<QStackedWidget*>()->currentWidget();
        if (const auto* text = page->findChild<QPlainTextEdit*>()) return text->toPlainText();
        const auto* list = page->findChild<FolderView*>();
        if (list == nullptr) return page->findChildren<QLabel*>().last()->text();
        QStringList lines;
        for (int i = 0; i < list->topLevelItemCount(); ++i)
            lines += list->topLevelItem(i)->text(0) + u' ' + list->topLevelItem(i)->text(1);
        return lines.join(u'|');
    }

    MainQueue::Time now_;
    const std::shared_ptr<MainQueue> queue_ = std::make_shared<MainQueue>([] {}, [this] { return now_; });
    const test::TemporaryTree tree_;
    const std::shared_ptr<FileIndex> index_ = std::make_shared<FileIndex>();
    std::vector<DispatchQueue::Work> loads_;
    std::vector<KeyAction> keys_;
    std::vector<std::string> opened_;
    QString typed_;
    QWidget rows_;
    PreviewWindow preview_{
        {.index = index_,
         .mainQueue = queue_,
         .loadAsync = [this](DispatchQueue::Work work) { loads_.push_back(std::move(work)); },
         .loader = PreviewLoader("/absent/dovra-preview", ThumbnailCache({}))}};
};

TEST_F(PreviewWindowTest, ShowsTheNewestSelectionAndDropsLateAnswers) {
    for (const char* name : {"first", "second", "third"})
        tree_.write(name, std::string("text of ") + name);
    const FileRow first = row("first");
    preview_.present(&first, rows_);
    ASSERT_EQ(loads_.size(), 1U) << "the first is loaded at once";
    loads_.front()();  // Its answer waits in the main queue.
    loads_.clear();
    for (int i = 0; i < 20; ++i) {
        const FileRow next = row(i % 2 == 0 ? "second" : "third");
        preview_.present(&next, rows_);
        now_ += PreviewRequests::pause / 2;
        queue_->run();
    }
    EXPECT_TRUE(preview_.windowTitle().contains(u"third")) << "what the index knows is there at once";
    EXPECT_EQ(shownText(), u"") << "not what was loaded for the first";
    EXPECT_TRUE(loads_.empty());
    waitForPause();
    EXPECT_EQ(loads_.size(), 1U) << "a held key loads the last row only";
    runLoads();
    EXPECT_EQ(shownText(), u"text of third");
    waitForPause();
    preview_.present(&first, rows_);
    preview_.dismiss();
    runLoads();
    EXPECT_FALSE(preview_.isWaiting() || preview_.isShown());
}

TEST_F(PreviewWindowTest, LeavesStuckLoadsBehindAndSaysSo) {
    constexpr const char16_t* said = u"No preview: the disk does not answer";
    tree_.write("file", "text");
    const FileRow file = row("file");
    std::vector<DispatchQueue::Work> stuck;
    const auto waitInVain = [&] {
        now_ += PreviewRequests::patience;
        queue_->run();
    };
    for (int i = 0; i < PreviewRequests::mostStuck; ++i) {
        preview_.dismiss();
        preview_.present(&file, rows_);
        waitForPause();
        EXPECT_EQ(shownText(), u"");
        ASSERT_EQ(loads_.size(), 1U) << "whatever is stuck";
        stuck.push_back(std::exchange(loads_, {}).front());
        if (i > 0) {
            waitInVain();
            EXPECT_EQ(shownText(), said);
            continue;
        }
        // The next row waits for the one before, and is not blamed.
        present(file);
        EXPECT_EQ(shownText(), u"");
        waitInVain();
        runLoads();
        EXPECT_EQ(shownText(), u"text");
    }
    preview_.dismiss();
    present(file);
    EXPECT_EQ(shownText(), said) << "at once";
    stuck.front()();
    queue_->run();
    EXPECT_EQ(shownText(), said) << "not what was loaded for another row";
    present(file);
    EXPECT_EQ(shownText(), u"text") << "the disk answers again";
}

TEST_F(PreviewWindowTest, ListsAFolderFromTheIndex) {
    std::vector<test::IndexItem> items;
    for (int i = 0; i < 600; ++i)
        items.emplace_back(fmt::format("{}/full/{:03}", tree_.path(), i), 1000);
    items.emplace_back(tree_.path("full/Zoo/deep"), 5000);
    items.emplace_back(tree_.path("full/<b>\n\u202E"), 0);
    items.emplace_back(tree_.path("empty/"));
    test::addTree(*index_, items);
    present(row("full", true));
    const QStringList lines = shownText().split(u'|');
    EXPECT_EQ(lines.size(), 501);
    EXPECT_EQ(lines.mid(0, 2).join(u'|'), u"Zoo 5 KB|000 1 KB");
    EXPECT_EQ(lines.last(), u"and 102 more ");
    QStringList facts;
    for (const QLabel* label : preview_.findChild<QGridLayout*>()->parentWidget()->findChildren<QLabel*>())
        facts += label->text();
    EXPECT_EQ(facts.join(u' '), u"Items 602 In all 605 KB in 602 files");
    present(row("empty", true));
    EXPECT_EQ(shownText(), u"The folder is empty");
    present(row("never listed", true));
    EXPECT_EQ(shownText(), u"No preview: the index does not know what is in this folder");
}

TEST_F(PreviewWindowTest, SaysPlainlyWhyThereIsNoPreview) {
    tree_.write("binary", std::string(100, '\0'));
    tree_.write("nothing");
    present(row("binary"));
    EXPECT_EQ(shownText(), u"No preview: cannot start /absent/dovra-preview: No such file or directory");
    present(row("nothing"));
    EXPECT_EQ(shownText(), u"The file is empty");
    present(row("gone"));
    EXPECT_EQ(shownText(), u"No preview: it is not there any more");
    preview_.present(nullptr, rows_);
    EXPECT_EQ(shownText(), u"");
    EXPECT_FALSE(preview_.isWaiting());
}

TEST_F(PreviewWindowTest, TakesKeysAndNamesOfEveryKind) {
    for (const std::string& name : {std::string("<b>&a\n\u202Egpj.exe\xFF"), std::string(255, 'W')}) {
        tree_.write(name, "<i>a\n" + std::string(200, 'b') + std::string(300, '\n'));
        present(row(name));
        EXPECT_FALSE(preview_.windowTitle().contains(u'\n') ||
                     preview_.windowTitle().contains(QChar(0x202E)));
        EXPECT_TRUE(shownText().startsWith(u"<i>a\nbb"));
        preview_.grab();
        EXPECT_EQ(preview_.width(), 480) << "no name makes the window wider";
        preview_.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&preview_));
        QTest::keyClick(&preview_, Qt::Key_Return);
        ASSERT_FALSE(opened_.empty());
        EXPECT_EQ(opened_.back(), name);
    }
    const auto* bar = preview_.findChild<QPlainTextEdit*>()->verticalScrollBar();
    QTest::keyClick(&preview_, Qt::Key_PageDown);
    EXPECT_GT(bar->value(), 0);
    QTest::keyClick(preview_.findChild<QPlainTextEdit*>(), Qt::Key_Down);
    QTest::keyClick(&preview_, Qt::Key_Up);
    QTest::keyClick(&preview_, Qt::Key_Space);
    QTest::keyClick(&preview_, Qt::Key_Y, Qt::ControlModifier);
    QTest::keyClick(preview_.findChild<QPlainTextEdit*>(), Qt::Key_Y);
    EXPECT_EQ(typed_, u"y") << "letters go into the search field, wherever the keyboard is";
    EXPECT_THAT(keys_, ElementsAre(KeyAction::selectNext, KeyAction::selectPrevious, KeyAction::closePreview,
                                   KeyAction::closePreview));
}

}  // namespace
}  // namespace dovra
