#include "Desktop/Windows/DesktopApplication.hpp"

#include <QAction>
#include <QApplication>
#include <memory>
#include <optional>
#include <utility>

#include "Base/Print.hpp"
#include "Desktop/Model/AppDelegate.hpp"
#include "Desktop/Model/GlobalHotKey.hpp"
#include "Desktop/Windows/ApplicationIcon.hpp"
#include "Desktop/Windows/DesktopPortal.hpp"
#include "Desktop/Windows/DesktopWorkspace.hpp"
#include "Desktop/Windows/FontCheck.hpp"
#include "Desktop/Windows/InstanceService.hpp"
#include "Desktop/Windows/MainLoop.hpp"
#include "Desktop/Windows/PanelWindow.hpp"
#include "Desktop/Windows/PortalHotKeys.hpp"
#include "Desktop/Windows/PreviewWindow.hpp"
#include "Desktop/Windows/SaveDialogWindow.hpp"
#include "Desktop/Windows/StatusItem.hpp"
#include "Desktop/Windows/SystemAppearance.hpp"
#include "Desktop/Windows/ToolkitMessages.hpp"
#include "Desktop/Windows/WindowTheme.hpp"
#include "Desktop/Windows/X11HotKeys.hpp"
#include "Platform/PlatformWords.hpp"
#include "Platform/TerminationHandler.hpp"

namespace dovra {

namespace {

/// The arguments that the toolkit is given: none of the user's, which are read elsewhere.
struct ToolkitArguments {
    int count = 1;
    char name[6] = "dovra";
    char* values[2] = {name, nullptr};
};

/// X11 tells of keys itself. Below Wayland it knows only those that are pressed over its own windows.
std::unique_ptr<HotKeyService> hotKeyService() {
    if (QGuiApplication::platformName() == u"xcb" && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return std::make_unique<X11HotKeys>();
    return std::make_unique<PortalHotKeys>(QStringLiteral("Show or hide the search panel"));
}

void reportRefusedHotKey() {
    printError("dovra: {} cannot be had here; give a key of your own the command: dovra --toggle\n",
               words::hotKey);
}

/// The application with its windows.
class DesktopApplication : public AppWindows {
public:
    DesktopApplication(const std::shared_ptr<AppServices>& services, std::shared_ptr<MainQueue> mainQueue,
                       bool usesTrigram)
        : model_(SearchViewModel::make(services, mainQueue, workspace_)),
          preview_(PreviewWindow::environment(services, std::move(mainQueue))),
          panel_(
              model_, [services] { return services->status().coverage; }, &preview_),
          app_(services, model_, *this, usesTrigram),
          statusItem_(app_, panel_),
          hotKeys_(hotKeyService()),
          hotKey_(
              hotKeys_, AppDelegate::hotKeyCode, AppDelegate::hotKeyModifiers, [this] { app_.togglePanel(); },
              reportRefusedHotKey) {
        auto* quitKey = new QAction(&panel_);
        quitKey->setShortcut(QKeySequence::Quit);
        quitKey->setShortcutContext(Qt::ApplicationShortcut);
        QObject::connect(quitKey, &QAction::triggered, &panel_, [this] { quit(); });
        panel_.addAction(quitKey);
    }

    AppDelegate& app() { return app_; }

    void showPanel() override { panel_.present(); }
    void hidePanel() override { panel_.hide(); }
    bool isPanelVisible() const override { return panel_.isVisible(); }
    void askForName(const SaveDialog& dialog, std::function<void(const std::string&)> save) override {
        panel_.present();
        showSaveDialog(&panel_, dialog, std::move(save));
    }
    void quit() override { QApplication::exit(0); }  // quit() asks the windows, which never close

private:
    DesktopWorkspace workspace_;
    std::shared_ptr<SearchViewModel> model_;
    PreviewWindow preview_;
    PanelWindow panel_;
    AppDelegate app_;
    StatusItem statusItem_;
    HotKeyRegistry hotKeys_;
    GlobalHotKey hotKey_;
};

bool handOver(const LaunchRequest& request) {
    ToolkitArguments arguments;
    const QCoreApplication application(arguments.count, arguments.values);
    return InstanceService::handOver(request);
}

int run(const LaunchOptions& options, const std::shared_ptr<AppServices>& services, const MainLoop& loop) {
    ToolkitArguments arguments;
    const ToolkitMessages messages;
    const QApplication application(arguments.count, arguments.values);
    ToolkitMessages::displayIsFound([&] { services->close(); });
    if (!checkFonts()) return 1;
    QApplication::setApplicationName(QStringLiteral("dovra"));
    QApplication::setApplicationDisplayName(QStringLiteral("Dovra"));
    QGuiApplication::setDesktopFileName(QString::fromLatin1(InstanceService::busName));
    DesktopPortal::introduce();
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setStyle(QStringLiteral("fusion"));
    const SystemAppearance appearance(
        [](Appearance chosen) { QApplication::setPalette(themePalette(chosen)); });
    QApplication::setWindowIcon(applicationIcon());
    std::optional<DesktopApplication> desktop;
    InstanceService instance([&](const LaunchRequest& request) { desktop->app().handle(request); });
    if (!instance.claim()) return InstanceService::handOver(options.request) ? 0 : 1;
    desktop.emplace(services, loop.queue(), options.index.usesTrigram);
    desktop->app().launch(options.request);
    if (!services->savedSearches().hasFile())
        printError(
            "dovra: there is no folder to keep the index and saved searches in; they last until it quits\n");
    const int status = QApplication::exec();
    desktop->app().terminate();
    return status;
}

}  // namespace

int runDesktopApplication(const LaunchOptions& options) {
    const MainLoop loop;
    AppServices::Options service = serviceOptions(options.index);
    service.postToMain = [queue = loop.queue()](DispatchQueue::Work work) { queue->async(std::move(work)); };
    const auto services = AppServices::make(std::move(service));
    // Before the toolkit has threads.
    const TerminationHandler termination([&] { services->close(); });
    if (handOver(options.request)) {
        if (options.index.root != "/")
            printError("dovra: the panel runs already, and keeps its folder; quit it to search another\n");
        return 0;
    }
    return run(options, services, loop);
}

}  // namespace dovra
