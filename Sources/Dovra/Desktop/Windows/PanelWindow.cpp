#include "Desktop/Windows/PanelWindow.hpp"

#include <QAction>
#include <QApplication>
#include <QContextMenuEvent>
#include <QCursor>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QScreen>
#include <QVBoxLayout>
#include <utility>

#include "Desktop/Model/PanelKeys.hpp"
#include "Desktop/Model/PanelText.hpp"
#include "Desktop/Windows/Emblem.hpp"
#include "Desktop/Windows/PanelMetrics.hpp"
#include "Desktop/Windows/RowGestures.hpp"
#include "Desktop/Windows/StartPage.hpp"
#include "Desktop/Windows/Symbols.hpp"
#include "Desktop/Windows/ToolkitText.hpp"

namespace dovra {

PanelWindow::PanelWindow(std::shared_ptr<SearchViewModel> model, std::function<std::string()> coverage,
                         PreviewPane* preview)
    : model_(std::move(model)),
      preview_(preview),
      glass_(new QLabel(this)),
      field_(new QLineEdit(this)),
      clear_(makeSymbolButton(panelText::clearSearch)),
      menu_(makeSymbolButton("Menu")),
      body_(new QStackedWidget(this)),
      results_(new ResultsView(this)),
      nothing_(new ElidedLabel(this)),
      footer_(new PanelFooter(std::move(coverage), this)) {
    setWindowTitle(QStringLiteral("Dovra"));
    setFoot(footer_);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(1, 1, 1, 1);
    column->setSpacing(0);
    column->addLayout(makeSearchRow());
    column->addWidget(makeHairline());
    body_->addWidget(new StartPage([this](std::string query) { model_->setQuery(std::move(query)); }, this));
    body_->addWidget(results_);
    body_->addWidget(makeNothingPage());
    column->addWidget(body_, 1);
    column->addWidget(footer_);
    resize(760, 560);

    results_->onSelect = [this](EntryId id) { model_->select(id); };
    results_->onSort = [this](SortSpec order) { model_->setSortOrder(order); };
    results_->onAction = [this](RowAction action, const FileRow& row) { model_->perform(action, row); };
    results_->onTyped = [this](const QString& text) {
        field_->setFocus();
        field_->insert(text);
        model_->setQuery(field_->text().toStdString());
    };
    if (preview_ != nullptr) {
        preview_->onKey = [this](KeyAction action) { react(action); };
        preview_->onAction = results_->onAction;
        preview_->onTyped = [this](const QString& text) {
            activateWindow();
            results_->onTyped(text);
        };
    }
    addShortcuts();
    updateSymbols();
    qApp->installEventFilter(this);
    model_->addObserver([this, alive = std::weak_ptr(isAlive_)] {
        if (!alive.expired()) scheduleSync();
    });
    sync();
}

PanelWindow::~PanelWindow() = default;

QLayout* PanelWindow::makeSearchRow() {
    field_->setFont(panelMetrics::searchFont(font()));
    field_->setFrame(false);
    field_->setPlaceholderText(toolkitText(panelText::placeholder));
    field_->setAccessibleName(QStringLiteral("Search"));
    connect(field_, &QLineEdit::textEdited, this,
            [this](const QString& text) { model_->setQuery(text.toStdString()); });
    connect(clear_, &QToolButton::clicked, this, [this] {
        model_->setQuery({});
        focusSearch();
    });
    menu_->setPopupMode(QToolButton::InstantPopup);
    menu_->hide();
    auto* row = new QHBoxLayout;
    row->setContentsMargins(panelMetrics::edge, 12, panelMetrics::edge - 4, 12);
    row->setSpacing(panelMetrics::gap);
    row->addWidget(glass_);
    row->addWidget(field_, 1);
    row->addWidget(clear_);
    row->addWidget(menu_);
    return row;
}

QWidget* PanelWindow::makeNothingPage() {
    auto* page = new QWidget(this);
    QFont large = font();
    large.setPointSizeF(large.pointSizeF() * 1.25);
    nothing_->setFont(large);
    nothing_->setAlignment(Qt::AlignCenter);
    nothing_->setForegroundRole(QPalette::PlaceholderText);
    auto* column = new QVBoxLayout(page);
    column->setContentsMargins(32, 16, 32, 16);
    column->setSpacing(14);
    column->addStretch(4);
    column->addWidget(new Emblem(Symbol::search, QPalette::Mid, page));
    column->addWidget(nothing_);
    column->addStretch(5);
    return page;
}

void PanelWindow::addShortcuts() {
    addRowKeys(this, [this](RowAction action) { perform(action); });
    for (int column = 0; column < 4; ++column) {
        auto* action = new QAction(this);
        action->setShortcut(QKeySequence(int(Qt::CTRL) | (Qt::Key_1 + column)));
        connect(action, &QAction::triggered, this, [this, column] { results_->sortBy(column); });
        addAction(action);
    }
    // Also while the field has the keyboard.
    auto* showActions = new QAction(this);
    showActions->setShortcut(QKeySequence(int(Qt::SHIFT) | Qt::Key_F10));
    connect(showActions, &QAction::triggered, this, [this] { results_->showActions(); });
    addAction(showActions);
}

void PanelWindow::perform(RowAction action) {
    // The key that opens a row also presses a button.
    auto* button = qobject_cast<QAbstractButton*>(focusWidget());
    if (action == RowAction::open && button != nullptr) return button->click();
    if (action == RowAction::open) return model_->openSelection();
    if (const FileRow* row = model_->state().selectedRow()) model_->perform(action, FileRow(*row));
}

void PanelWindow::updateSymbols() {
    const int points = panelMetrics::searchSymbolSize(font());
    const QColor faint = palette().color(QPalette::PlaceholderText);
    const auto drawing = [&](Symbol symbol, const QColor& color) {
        return symbolPixmap(symbol, color, points, devicePixelRatioF());
    };
    glass_->setPixmap(drawing(Symbol::search, palette().highlight().color()));
    clear_->setIcon(drawing(Symbol::clear, faint));
    menu_->setIcon(drawing(Symbol::menu, faint));
    for (QToolButton* button : {clear_, menu_})
        button->setIconSize({points - 4, points - 4});
}

void PanelWindow::setMenu(QMenu* menu) {
    menu_->setMenu(menu);
    menu_->setVisible(menu != nullptr);
}

void PanelWindow::scheduleSync() {
    // Many changes of one answer are drawn once, and after they are made.
    if (!std::exchange(isBehind_, true))
        QMetaObject::invokeMethod(
            this, [this] { sync(); }, Qt::QueuedConnection);
}

void PanelWindow::sync() {
    isBehind_ = false;
    const SearchState& state = model_->state();
    if (const QString query = toolkitText(state.query); query != field_->text()) field_->setText(query);
    clear_->setVisible(!state.query.empty());
    results_->show(state);
    showBody();
    footer_->show(state);
    if (std::exchange(shownFocusToken_, state.focusRequestToken) != state.focusRequestToken) focusSearch();
    auto path = model_->selectedFullPath();
    const bool isOther = path != shownPath_;
    shownPath_ = std::move(path);
    if (isOther && preview_ != nullptr && preview_->isShown()) preview_->present(state.selectedRow(), *this);
}

void PanelWindow::showBody() {
    const SearchState& state = model_->state();
    const PanelBody body = panelBody(state);
    if (body == PanelBody::nothing) nothing_->setText(toolkitText(nothingMatches(state.query)));
    body_->setCurrentIndex(static_cast<int>(body));
    // An empty table has no use for the keyboard.
    results_->setFocusPolicy(state.rows.empty() ? Qt::NoFocus : Qt::StrongFocus);
}

void PanelWindow::focusSearch() {
    field_->setFocus();
    field_->selectAll();
}

void PanelWindow::present() {
    if (!isVisible()) {
        QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
        if (screen == nullptr) screen = QGuiApplication::primaryScreen();
        const QRect place = screen->availableGeometry();
        layout()->activate();  // Large letters make it larger.
        resize(size().boundedTo(place.size()));
        move(place.center() - rect().center());
    }
    show();
    raise();
    activateWindow();
    focusSearch();
}

bool PanelWindow::decideKey(const QKeyEvent& event) {
    const bool isPreviewVisible = preview_ != nullptr && preview_->isShown();
    const KeyPress press{.code = keyCodeOf(event.key(), event.nativeScanCode()),
                         .command = holdsCommand(static_cast<std::uint32_t>(event.modifiers()))};
    // After a quick hide and show the toolkit counts no window as active, although this one has the keyboard.
    const bool hasKeys = isVisible() && QGuiApplication::focusWindow() == windowHandle();
    const KeyAction action = panelKeyAction(
        press,
        {.hasKeys = hasKeys, .navigating = model_->state().navigating, .isPreviewVisible = isPreviewVisible});
    react(action);
    return action != KeyAction::pass;
}

void PanelWindow::react(KeyAction action) {
    switch (action) {
        case KeyAction::pass:
            break;
        case KeyAction::selectNext:
            model_->moveSelection(+1);
            break;
        case KeyAction::selectPrevious:
            model_->moveSelection(-1);
            break;
        case KeyAction::openPreview:
            if (const FileRow* row = model_->state().selectedRow(); row != nullptr && preview_ != nullptr)
                preview_->present(row, *this);
            break;
        case KeyAction::closePreview:
            preview_->dismiss();
            activateWindow();
            model_->requestSearchFocus(false);
            break;
        case KeyAction::focusSearch:
            if (preview_ != nullptr) preview_->dismiss();
            activateWindow();
            model_->requestSearchFocus(true);
            break;
    }
}

bool PanelWindow::eventFilter(QObject* watched, QEvent* event) {
    const auto* widget = qobject_cast<QWidget*>(watched);
    if (widget == nullptr || widget->window() != this) return false;
    if (event->type() == QEvent::KeyPress) return decideKey(*static_cast<QKeyEvent*>(event));
    // The menu key is for the selected row, also while the field has the keyboard.
    const bool isMenuKey = event->type() == QEvent::ContextMenu &&
                           static_cast<QContextMenuEvent*>(event)->reason() == QContextMenuEvent::Keyboard;
    if (isMenuKey) results_->showActions();
    return isMenuKey;
}

/// For keys that the focused control has left over.
void PanelWindow::keyPressEvent(QKeyEvent* event) {
    const int pages = event->key() == Qt::Key_PageDown ? 1 : event->key() == Qt::Key_PageUp ? -1 : 0;
    if (event->key() == Qt::Key_Escape) {
        hide();
    } else if (pages == 0) {
        WindowCard::keyPressEvent(event);
    } else if (preview_ == nullptr || !preview_->isShown() || !preview_->scrollPages(pages)) {
        model_->moveSelection(pages * results_->visibleRows());
    }
}

void PanelWindow::showEvent(QShowEvent* event) {
    WindowCard::showEvent(event);
    model_->setShown(true);
}

void PanelWindow::hideEvent(QHideEvent* event) {
    WindowCard::hideEvent(event);
    if (preview_ != nullptr) preview_->dismiss();
    model_->setShown(false);
}

void PanelWindow::closeEvent(QCloseEvent* event) {
    event->ignore();
    hide();
}

void PanelWindow::changeEvent(QEvent* event) {
    WindowCard::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) updateSymbols();
}

}  // namespace dovra
