#include <QAbstractItemModelTester>
#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QMenu>
#include <QMimeData>
#include <QTest>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "Base/PathText.hpp"
#include "Desktop/FakeWorkspace.hpp"
#include "Desktop/Model/PanelText.hpp"
#include "Desktop/Windows/DesktopWorkspace.hpp"
#include "Desktop/Windows/MainLoop.hpp"
#include "Desktop/Windows/PanelWindow.hpp"
#include "Desktop/Windows/ToolkitText.hpp"
#include "Support/IndexBuilder.hpp"

namespace dovra {
namespace {

using testing::ElementsAre;

class FakePreview : public PreviewPane {
public:
    bool isShown() const override { return !shown.empty(); }
    void present(const FileRow* row, const QWidget&) override {
        shown = row == nullptr ? "nothing" : joinPath(row->path, row->name);
    }
    void dismiss() override { shown.clear(); }
    bool scrollPages(int) override { return false; }

    std::string shown;
};

const std::vector<std::string> names = {"<b>& a.txt", "a\nb\xFF.pdf",        "\u202Eagpj.exe",
                                        "שלום a.mp3", std::string(255, 'a'), "0 a folder/"};

/// A panel over an index of its own, used as a user would.
class PanelWindowTest : public testing::Test {
protected:
    void SetUp() override {
        panel_.present();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&panel_));
        ASSERT_NE(results_->model(), nullptr);
    }

    static std::shared_ptr<FileIndex> makeNamedIndex() {
        std::vector<test::IndexItem> items;
        for (const std::string& name : names)
            items.emplace_back("/d/" + name, 1500);
        return test::makeIndex(items);
    }

    template <typename Condition>
    static bool comes(const Condition& condition) {
        return QTest::qWaitFor(condition, 10'000);
    }

    /// Types a query and waits for its rows.
    bool asks(const char* query) {
        QTest::keyClicks(field_, QString::fromUtf8(query));
        return comes([&] { return model_->state().answered == query && !panel_.isBehind(); });
    }

    static void press(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(QApplication::focusWidget(), static_cast<Qt::Key>(key), modifiers);
    }

    /// The button with this accessible name.
    void clickButton(const char* name) {
        for (auto* button : panel_.findChildren<QAbstractButton*>())
            if (button->accessibleName() == QLatin1String(name)) QTest::mouseClick(button, Qt::LeftButton);
    }

    const MainLoop loop_;
    test::FakeWorkspace workspace_;
    FakePreview preview_;
    const std::shared_ptr<SearchViewModel> model_ =
        SearchViewModel::make({.index = makeNamedIndex(),
                               .mainQueue = loop_.queue(),
                               .workspace = workspace_,
                               .searchAsync = [](const DispatchQueue::Work& work) { work(); },
                               .recordOpen = [](std::string_view) {}});
    PanelWindow panel_{model_, [] { return std::string("watched"); }, &preview_};
    QLineEdit* const field_ = panel_.findChild<QLineEdit*>();
    ResultsView* const results_ = panel_.findChild<ResultsView*>();
};

TEST_F(PanelWindowTest, FindsSelectsPreviewsAndOpensByKeysAlone) {
    const QAbstractItemModelTester tester(results_->model(),
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    ASSERT_TRUE(asks(" a"));
    EXPECT_EQ(field_->text(), u" a") << "spaces belong to the text until a row is chosen";
    EXPECT_EQ(results_->model()->rowCount(), int(names.size()));
    QApplication::setActiveWindow(nullptr);  // as it is after a quick hide and show
    QTest::keyClick(field_, Qt::Key_Down);
    QApplication::setActiveWindow(&panel_);
    press(Qt::Key_Space);
    const std::string first = preview_.shown;
    EXPECT_EQ(first, model_->selectedFullPath());
    press(Qt::Key_Down);
    EXPECT_TRUE(comes([&] { return preview_.shown != first; })) << "it follows the selection";
    press(Qt::Key_Escape);
    EXPECT_EQ(preview_.shown, "");
    EXPECT_TRUE(panel_.isVisible());
    press(Qt::Key_PageDown);
    EXPECT_TRUE(comes([&] { return results_->currentIndex().row() == int(names.size()) - 1; }));
    const std::string path = *model_->selectedFullPath();
    QContextMenuEvent menuKey(QContextMenuEvent::Keyboard, {}, {});
    const auto closesMenu = [] {
        QWidget* menu = QApplication::activePopupWidget();
        return menu != nullptr && menu->close();
    };
    press(Qt::Key_F10, Qt::ShiftModifier);
    EXPECT_TRUE(closesMenu());
    QApplication::sendEvent(field_, &menuKey);
    EXPECT_TRUE(closesMenu());
    press(Qt::Key_Enter);
    press(Qt::Key_Return, Qt::ControlModifier);
    EXPECT_THAT(workspace_.requests, ElementsAre("open " + path, "reveal " + path));
    press(Qt::Key_Escape);
    EXPECT_FALSE(panel_.isVisible());
    EXPECT_TRUE(comes([&] { return !panel_.isBehind(); }));
}

TEST_F(PanelWindowTest, ShowsDragsAndCopiesNamesOfEveryKindAsTheyAre) {
    ASSERT_TRUE(asks("a"));
    DesktopWorkspace desktop;
    const auto& rows = model_->state().rows;
    for (int i = 0; i < int(rows.size()); ++i) {
        const QModelIndex index = results_->model()->index(i, 0);
        const QString shown = index.data().toString();
        EXPECT_FALSE(shown.contains(u'\n') || shown.contains(QChar(0x202E))) << shown.toStdString();
        const std::string path = "/d/" + rows[std::size_t(i)].name;
        const std::unique_ptr<QMimeData> dragged(results_->model()->mimeData({index}));
        EXPECT_EQ(QByteArray::fromPercentEncoding(dragged->urls().value(0).toEncoded()).toStdString(),
                  "file://" + path);
        desktop.copy(path);
        EXPECT_EQ(QApplication::clipboard()->mimeData()->data(QStringLiteral("text/plain")).toStdString(),
                  path);
    }
    const QSize size = panel_.size();
    model_->setQuery(std::string(5000, 'x'));
    EXPECT_TRUE(
        comes([&] { return panelBody(model_->state()) == PanelBody::nothing && !panel_.isBehind(); }));
    panel_.grab();
    EXPECT_EQ(panel_.size(), size) << "no text makes the window wider";
}

TEST_F(PanelWindowTest, TakesClicksOnHeadersChipsRowsAndButtons) {
    clickButton("tag:work, tags");
    EXPECT_EQ(model_->state().query, "tag:work");
    clickButton("Clear search");
    EXPECT_EQ(model_->state().query, "");
    ASSERT_TRUE(asks("a"));
    const auto click = [&](int column) {
        const QPoint place(results_->header()->sectionViewportPosition(column) + 9, 9);
        QTest::mouseClick(results_->header()->viewport(), Qt::LeftButton, {}, place);
        return model_->state().sortOrder;
    };
    EXPECT_EQ(click(2), (SortSpec{.key = SortSpec::Key::size, .ascending = false}));
    EXPECT_TRUE(comes([&] { return !panel_.isBehind(); }));
    EXPECT_TRUE(click(2).ascending) << "the other way, once more";
    ASSERT_TRUE(comes([&] { return loop_.queue()->run() == MainQueue::Time::max() && !panel_.isBehind(); }));
    EXPECT_EQ(results_->header()->sortIndicatorSection(), 2);
    const QPoint third = results_->visualRect(results_->model()->index(2, 0)).center();
    QTest::mouseClick(results_->viewport(), Qt::LeftButton, {}, third);
    EXPECT_EQ(model_->state().selection, model_->state().rows[2].id);
    QTest::mouseDClick(results_->viewport(), Qt::LeftButton, {}, third);
    EXPECT_THAT(workspace_.requests, ElementsAre("open " + *model_->selectedFullPath()));
    QTest::keyClick(results_, Qt::Key_Z);
    EXPECT_EQ(model_->state().query, "az") << "letters go into the field, wherever the keyboard is";
}

/// The labels and buttons that are smaller than their texts, or partly outside.
std::vector<std::string> clippedControls(const QWidget& panel) {
    std::vector<std::string> clipped;
    for (const auto* control : panel.findChildren<QWidget*>()) {
        const bool hasText = qobject_cast<const QLabel*>(control) != nullptr ||
                             qobject_cast<const QAbstractButton*>(control) != nullptr;
        const QSize least = control->minimumSizeHint();
        const bool isWhole = control->size().expandedTo(least) == control->size() &&
                             panel.rect().contains({control->mapTo(&panel, QPoint()), control->size()});
        if (hasText && control->isVisible() && !isWhole)
            clipped.push_back(control->accessibleName().toStdString());
    }
    return clipped;
}

TEST_F(PanelWindowTest, HasRoomForItsTextsInLettersOfEachSizeAndInBothDirections) {
    const QFont usual = QApplication::font();
    for (const auto& [points, direction] : {std::pair(8, Qt::LeftToRight), std::pair(24, Qt::RightToLeft)}) {
        QFont font = usual;
        font.setPointSize(points);
        QApplication::setFont(font);
        QApplication::setLayoutDirection(direction);
        PanelWindow panel(
            model_, [] { return std::string(); }, nullptr);
        QMenu menu;
        panel.setMenu(&menu);
        for (const char* query : {"", "a", "absent*"}) {
            model_->setQuery(query);
            panel.present();
            ASSERT_TRUE(
                comes([&] { return model_->state().answered.value_or("") == query && !panel.isBehind(); }));
            for (const QSize size : {panel.size(), panel.minimumSizeHint()}) {
                panel.resize(size);
                QApplication::sendPostedEvents();
                panel.grab();
                EXPECT_THAT(clippedControls(panel), ElementsAre()) << points << query;
            }
        }
    }
    QApplication::setFont(usual);
    QApplication::setLayoutDirection(Qt::LeftToRight);
}

}  // namespace
}  // namespace dovra
