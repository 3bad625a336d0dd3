#include "Desktop/Windows/PreviewWindow.hpp"

#include <QAction>
#include <QApplication>
#include <QContextMenuEvent>
#include <QDateTime>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QScreen>
#include <QScrollBar>
#include <QSizeGrip>
#include <QVBoxLayout>
#include <QWindow>
#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <utility>

#include "Base/Format.hpp"
#include "Base/RelativeTime.hpp"
#include "Base/ShownText.hpp"
#include "Desktop/Model/PanelKeys.hpp"
#include "Desktop/Windows/RowGestures.hpp"
#include "Desktop/Windows/SlimScrollBar.hpp"
#include "Desktop/Windows/Symbols.hpp"
#include "Desktop/Windows/ToolkitText.hpp"
#include "Platform/LooseThreads.hpp"

namespace dovra {

namespace {

constexpr int gap = 12;          ///< between the two windows
constexpr int leastWidth = 340;  ///< of a preview beside the panel
constexpr int usualWidth = 480;
constexpr int pageMargin = 16;
constexpr int iconPoints = 34;
constexpr int emblemPoints = 96;
/// For this long the body may show what belongs to the row before: what comes sooner is not worth a flicker.
constexpr std::chrono::milliseconds patience{120};

constexpr std::array kindNames = {
    std::pair(Symbol::folder, "Folder"),     std::pair(Symbol::link, "Link"),
    std::pair(Symbol::document, "Document"), std::pair(Symbol::image, "Image"),
    std::pair(Symbol::audio, "Audio"),       std::pair(Symbol::video, "Video"),
    std::pair(Symbol::archive, "Archive"),   std::pair(Symbol::program, "Program"),
};

/// What the index knows of a row: its kind, size and date.
std::string summaryOf(const FileRow& row) {
    const auto* const kind =
        std::ranges::find(kindNames, symbolOf(row), &std::pair<Symbol, const char*>::first);
    std::string text = kind == kindNames.end() ? "File" : kind->second;
    if (!row.isDir && !row.isSymbolicLink) text += " · " + byteCountText(row.size);
    const double now = static_cast<double>(QDateTime::currentMSecsSinceEpoch()) / 1000;
    if (const std::string date = localTime(row.modified); !date.empty())
        text += fmt::format(" · {} ({})", relativeTime(row.modified, now), date.substr(0, 16));
    return text;
}

}  // namespace

PreviewWindow::Environment PreviewWindow::environment(const std::shared_ptr<AppServices>& services,
                                                      std::shared_ptr<MainQueue> mainQueue) {
    // Stuck work would take the threads of the queues, and keep the process from its end.
    const auto threads = std::make_shared<LooseThreads>("dovra.preview");
    return {.index = {services, &services->index()},
            .mainQueue = std::move(mainQueue),
            .loadAsync = [threads](DispatchQueue::Work work) { threads->async(std::move(work)); },
            .loader = PreviewLoader(previewDecoderPath(), ThumbnailCache::ofUser())};
}

PreviewWindow::PreviewWindow(Environment environment)
    : contents_(
          std::make_shared<PreviewContents>(std::move(environment.index), std::move(environment.loader))),
      requests_(PreviewRequests::make(std::move(environment.mainQueue), std::move(environment.loadAsync),
                                      [this](PreviewContent content) { showContent(std::move(content)); })),
      icon_(new PictureLabel(this)),
      title_(new ElidedLabel(this)),
      summary_(new ElidedLabel(this)),
      close_(makeSymbolButton("Close preview")),
      body_(new QStackedWidget(this)),
      picture_(new PictureLabel(this)),
      text_(new QPlainTextEdit(this)),
      folder_(new FolderView(this)),
      emblem_(new PictureLabel(this)),
      message_(new QLabel(this)),
      facts_(new FactsGrid(this)) {
    setAttribute(Qt::WA_ShowWithoutActivating);
    setMinimumSize(260, 220);
    setFocusPolicy(Qt::StrongFocus);
    setFoot(facts_);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(1, 1, 1, 6);
    column->setSpacing(0);
    column->addLayout(makeHead());
    column->addWidget(makeHairline());
    column->addWidget(body_, 1);
    column->addWidget(facts_);
    addPage(picture_, {pageMargin, pageMargin, pageMargin, pageMargin});
    makeTextPage();
    addPage(text_, {});
    addPage(folder_, {14, 6, 0, 0});
    body_->addWidget(makeMessagePage());

    for (PictureLabel* handle : {icon_, picture_, emblem_})
        handle->onDrag = [this] { drag(); };
    folder_->onAction = [this](RowAction action, const FileRow& row) { onAction(action, row); };
    addRowKeys(this, [this](RowAction action) { perform(action); });
    isLate_.setSingleShot(true);
    isLate_.callOnTimeout(this, [this] { showContent({}); });
    facts_->hide();
    new QSizeGrip(this);
    qApp->installEventFilter(this);
}

PreviewWindow::~PreviewWindow() = default;

void PreviewWindow::addPage(QWidget* content, const QMargins& margins) {
    auto* page = new QWidget(this);
    auto* row = new QHBoxLayout(page);
    row->setContentsMargins(margins);
    row->addWidget(content);
    body_->addWidget(page);
}

void PreviewWindow::showPage(const QWidget* content) {
    body_->setCurrentWidget(content->parentWidget());
}

QLayout* PreviewWindow::makeHead() {
    icon_->setFixedSize(iconPoints, iconPoints);
    QFont large = font();
    large.setPointSizeF(large.pointSizeF() * 1.2);
    large.setWeight(QFont::DemiBold);
    title_->setFont(large);
    summary_->setForegroundRole(QPalette::PlaceholderText);
    connect(close_, &QToolButton::clicked, this, [this] { onKey(KeyAction::closePreview); });
    auto* lines = new QVBoxLayout;
    lines->setSpacing(2);
    lines->addWidget(title_);
    lines->addWidget(summary_);
    auto* row = new QHBoxLayout;
    row->setContentsMargins(18, 12, 14, 12);
    row->setSpacing(12);
    row->addWidget(icon_);
    row->addLayout(lines, 1);
    row->addWidget(close_, 0, Qt::AlignTop);
    return row;
}

QWidget* PreviewWindow::makeMessagePage() {
    auto* page = new QWidget(this);
    emblem_->setFixedSize(emblemPoints, emblemPoints);
    message_->setTextFormat(Qt::PlainText);
    message_->setWordWrap(true);
    message_->setAlignment(Qt::AlignCenter);
    message_->setMinimumWidth(1);  // A path in it must not make the window wider.
    message_->setForegroundRole(QPalette::PlaceholderText);
    auto* column = new QVBoxLayout(page);
    column->setContentsMargins(28, 16, 28, 16);
    column->setSpacing(16);
    column->addStretch(4);
    column->addWidget(emblem_, 0, Qt::AlignHCenter);
    column->addWidget(message_);
    column->addStretch(5);
    return page;
}

void PreviewWindow::makeTextPage() {
    text_->setReadOnly(true);
    text_->setUndoRedoEnabled(false);
    text_->setFrameShape(QFrame::NoFrame);
    text_->setFocusPolicy(Qt::ClickFocus);
    text_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    text_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    text_->setTabStopDistance(4 * QFontMetricsF(text_->font()).horizontalAdvance(u' '));
    text_->setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    text_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    text_->setVerticalScrollBar(new SlimScrollBar(this));
    text_->viewport()->setAutoFillBackground(false);
    text_->document()->setDocumentMargin(16);
    text_->setAccessibleName(QStringLiteral("Text of the file"));
}

void PreviewWindow::present(const FileRow* row, const QWidget& rows) {
    row_ = row == nullptr ? std::nullopt : std::optional(*row);
    showHead();
    if (!isVisible()) {
        showContent({});
        placeBeside(rows);
        setFocus();  // Otherwise the button would take the keyboard, and the key that opens the file.
        show();
    } else if (!isLate_.isActive()) {
        isLate_.start(patience);
    }
    load();
}

void PreviewWindow::placeBeside(const QWidget& rows) {
    const QRect panel = rows.frameGeometry();
    const QRect place = rows.screen()->availableGeometry().adjusted(gap, 0, -gap, 0);
    const int right = place.right() - panel.right() - gap;
    const int left = panel.left() - place.left() - gap;
    const bool isMirrored = layoutDirection() == Qt::RightToLeft;
    const bool goesLeft =
        isMirrored ? left >= leastWidth || left > right : right < leastWidth && left > right;
    const int space = goesLeft ? left : right;
    // Without room beside the panel it covers as little of it as it can.
    const int wide = std::min(space < leastWidth ? usualWidth : std::min(space, usualWidth), place.width());
    const int beside = goesLeft ? panel.left() - gap - wide : panel.right() + 1 + gap;
    const int x = std::clamp(beside, place.left(), std::max(place.left(), place.right() + 1 - wide));
    setGeometry(x, panel.top(), wide, panel.height());
    winId();
    windowHandle()->setTransientParent(rows.windowHandle());
}

void PreviewWindow::showHead() {
    const std::string name = row_ ? shownText(row_->name) : "Nothing is selected";
    title_->setText(toolkitText(name));
    title_->setToolTip(row_ ? withoutMarkup(name) : QString());
    summary_->setText(row_ ? toolkitText(summaryOf(*row_)) : QString());
    setWindowTitle(row_ ? QStringLiteral("Preview of %1").arg(toolkitText(name)) : QStringLiteral("Preview"));
    setAccessibleName(windowTitle());
    picture_->setAccessibleName(QStringLiteral("Picture of %1").arg(toolkitText(name)));
    showSymbols();
}

void PreviewWindow::showSymbols() {
    const QColor faint = palette().color(QPalette::PlaceholderText);
    const Symbol symbol = row_ ? symbolOf(*row_) : Symbol::search;
    const auto drawing = [&](int points) {
        return symbolPixmap(symbol, symbolColor(symbol, faint), points, devicePixelRatioF());
    };
    icon_->showSymbol(drawing(iconPoints));
    emblem_->showSymbol(drawing(emblemPoints));
    close_->setIcon(symbolPixmap(Symbol::clear, faint, 18, devicePixelRatioF()));
    close_->setIconSize({18, 18});
}

QSize PreviewWindow::room() const {
    // As if there were the facts of a usual picture: what they are is not known before it is loaded.
    const int facts = facts_->heightOf(2) - (facts_->isVisible() ? facts_->height() : 0);
    const QSize points = body_->size() - QSize(2 * pageMargin, 2 * pageMargin + facts);
    return (points.expandedTo({1, 1}).toSizeF() * devicePixelRatioF()).toSize();
}

void PreviewWindow::load() {
    if (!row_) {
        requests_->cancel();
        return showContent({});
    }
    loadedRoom_ = room();
    requests_->ask([contents = contents_, row = *row_, room = loadedRoom_](const std::stop_token& stop) {
        return contents->load(row, room, stop);
    });
}

void PreviewWindow::showContent(PreviewContent content) {
    isLate_.stop();
    facts_->show(content.facts);
    update();  // The foot reaches below them.
    if (!content.picture.isNull()) {
        showPicture(std::move(content.picture));
    } else if (content.folder && content.folder->count > 0) {
        folder_->show(std::move(*content.folder));
        showPage(folder_);
    } else if (content.text && !content.text->empty()) {
        showText(*content.text);
    } else if (content.folder) {
        showMessage("The folder is empty");
    } else if (content.text) {
        showMessage("The file is empty");
    } else {
        showMessage(content.reason.empty() ? "" : "No preview: " + content.reason);
    }
}

void PreviewWindow::showPicture(QImage picture) {
    // A small picture is shown in its own size, of a pixel a point if there is room.
    const QSizeF pixels = picture.size();
    const double share =
        std::max(pixels.width() / loadedRoom_.width(), pixels.height() / loadedRoom_.height());
    picture_->showFile(std::move(picture), std::max(1.0, share * devicePixelRatioF()));
    showPage(picture_);
}

void PreviewWindow::showText(const std::string& text) {
    text_->setPlainText(toolkitText(text));
    showPage(text_);
}

void PreviewWindow::showMessage(const std::string& reason) {
    message_->setText(toolkitText(shownText(reason)));
    message_->setVisible(!reason.empty());
    showPage(message_);
}

bool PreviewWindow::scrollPages(int pages) {
    const auto* area = body_->currentWidget()->findChild<QAbstractScrollArea*>();
    if (area == nullptr) return false;
    QScrollBar* bar = area->verticalScrollBar();
    bar->setValue(bar->value() + pages * bar->pageStep());
    return bar->maximum() > bar->minimum();
}

void PreviewWindow::perform(RowAction action) {
    auto* button = qobject_cast<QAbstractButton*>(focusWidget());
    if (action == RowAction::open && button != nullptr) return button->click();
    const FileRow* inside = folder_->hasFocus() ? folder_->currentRow() : nullptr;
    if (inside != nullptr || row_) onAction(action, FileRow(inside != nullptr ? *inside : *row_));
}

void PreviewWindow::drag() {
    if (row_) dragRow(this, FileRow(*row_));
}

bool PreviewWindow::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress) return false;
    const auto* widget = qobject_cast<QWidget*>(watched);
    if (widget == nullptr || widget->window() != this) return false;
    const auto& key = *static_cast<QKeyEvent*>(event);
    const KeyPress press{.code = keyCodeOf(key.key(), key.nativeScanCode()),
                         .command = holdsCommand(static_cast<std::uint32_t>(key.modifiers()))};
    const bool isLetter = press.code == KeyCode::y || press.code == KeyCode::l;
    const KeyAction action =
        isLetter ? panelKeyAction(press, {.isPreviewVisible = true}) : previewKeyAction(press);
    if (action == KeyAction::pass) return false;
    onKey(action);
    return true;
}

/// For keys that the focused control has left over.
void PreviewWindow::keyPressEvent(QKeyEvent* event) {
    const int pages = event->key() == Qt::Key_PageDown ? 1 : event->key() == Qt::Key_PageUp ? -1 : 0;
    const bool isText = !event->text().isEmpty() && event->text().front().isPrint() &&
                        (event->modifiers() & (Qt::ControlModifier | Qt::AltModifier)) == 0;
    if (pages != 0)
        scrollPages(pages);
    else if (isText)
        onTyped(event->text());
    else
        WindowCard::keyPressEvent(event);
}

void PreviewWindow::contextMenuEvent(QContextMenuEvent* event) {
    if (row_) showRowMenu(this, event->globalPos(), *row_, onAction);
}

void PreviewWindow::resizeEvent(QResizeEvent* event) {
    WindowCard::resizeEvent(event);
    auto* grip = findChild<QSizeGrip*>();
    grip->resize(grip->sizeHint());
    const int x = layoutDirection() == Qt::RightToLeft ? 2 : width() - grip->width() - 2;
    grip->move(x, height() - grip->height() - 2);
    grip->raise();
    constexpr double clearly = 1.2;
    const QSize wanted = room();
    const bool hasGrown =
        wanted.width() > loadedRoom_.width() * clearly || wanted.height() > loadedRoom_.height() * clearly;
    if (isVisible() && hasGrown && body_->currentWidget() == picture_->parentWidget()) load();
}

void PreviewWindow::hideEvent(QHideEvent* event) {
    WindowCard::hideEvent(event);
    requests_->cancel();
    isLate_.stop();
    // What was shown may be large.
    picture_->clear();
    text_->clear();
}

void PreviewWindow::closeEvent(QCloseEvent* event) {
    event->ignore();
    onKey(KeyAction::closePreview);
}

void PreviewWindow::changeEvent(QEvent* event) {
    WindowCard::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) showSymbols();
}

}  // namespace dovra
