#include <gtest/gtest.h>
#include <optional>
#include <string_view>

#include "Desktop/Model/PanelKeys.hpp"

namespace dovra {
namespace {

using enum KeyAction;
using Code = std::optional<KeyCode>;

// One row a key; the columns are its actions: at rest, navigating, with a preview, in the preview itself.
TEST(PanelKeys, DecideByKeyCommandAndState) {
    struct Row {
        std::string_view name;
        KeyPress press;
        KeyAction atRest, navigating, withPreview, inPreview;
    };
    for (const Row& row : {
             Row{"down", {KeyCode::downArrow}, selectNext, selectNext, selectNext, selectNext},
             {"up", {KeyCode::upArrow}, selectPrevious, selectPrevious, selectPrevious, selectPrevious},
             {"space", {KeyCode::space}, pass, openPreview, closePreview, closePreview},
             {"escape", {KeyCode::escape}, pass, pass, closePreview, closePreview},
             {"y", {KeyCode::y}, pass, pass, pass, pass},
             {"l", {KeyCode::l}, pass, pass, pass, pass},
             {"other", {}, pass, pass, pass, pass},
             {"command down", {KeyCode::downArrow, true}, selectNext, selectNext, selectNext, selectNext},
             {"command space", {KeyCode::space, true}, pass, openPreview, closePreview, pass},
             {"command escape", {KeyCode::escape, true}, pass, pass, closePreview, pass},
             {"command y", {KeyCode::y, true}, openPreview, openPreview, closePreview, pass},
             {"command l", {KeyCode::l, true}, focusSearch, focusSearch, focusSearch, pass},
             {"command other", {Code(), true}, pass, pass, pass, pass},
         }) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(panelKeyAction(row.press, {}), row.atRest);
        EXPECT_EQ(panelKeyAction(row.press, {.navigating = true}), row.navigating);
        EXPECT_EQ(panelKeyAction(row.press, {.navigating = true, .isPreviewVisible = true}), row.withPreview);
        EXPECT_EQ(panelKeyAction(row.press, {.isPreviewVisible = true}), row.withPreview);
        EXPECT_EQ(panelKeyAction(row.press, {.hasKeys = false, .navigating = true}), pass);
        EXPECT_EQ(previewKeyAction(row.press), row.inPreview);
    }
}

}  // namespace
}  // namespace dovra
