#pragma once

#include <QToolButton>
#include <QWidget>
#include <string_view>

namespace dovra {

/// A window without a frame, drawn as a card with round corners where the display can show them. It is on all
/// workspaces. Pressing it where no control is moves it.
class WindowCard : public QWidget {
public:
    explicit WindowCard(QWidget* parent = nullptr);

protected:
    /// The part at the lower edge, which has the colour of chrome.
    void setFoot(const QWidget* foot) { foot_ = foot; }

    void showEvent(QShowEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

    /// A line between two parts of the window.
    QWidget* makeHairline();

    /// A button without a frame; its symbol is set elsewhere.
    QToolButton* makeSymbolButton(std::string_view name);

private:
    const bool hasRoundCorners_;  ///< windows of some X11 displays cannot be translucent
    const QWidget* foot_ = nullptr;
};

}  // namespace dovra
