#include "Desktop/Windows/ToolkitMessages.hpp"

#include <QMessageLogContext>
#include <QString>
#include <QStringList>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <utility>

#include "Base/Print.hpp"

namespace dovra {

namespace {

QtMessageHandler formerHandler = nullptr;
QStringList faults;  ///< why there is no display, as far as told; of the main thread, which looks for it
std::function<void()> finish;
std::atomic<bool> isDisplayFound = false;

/// The toolkit ends the process right after these.
bool tellsOfLostDisplay(const QString& line) {
    return line.contains(u"connection broke") || line.contains(u"connection experienced a fatal error");
}

[[noreturn]] void endProcess(const QString& reason) {
    if (isDisplayFound) {
        printError("dovra: the display cannot be used any more: {}\n", reason.toStdString());
        finish();
    } else {
        printError(
            "dovra: there is no display to show the panel on ({}); dovra --help lists what works without "
            "one\n",
            faults.join(QStringLiteral("; ")).toStdString());
    }
    std::_Exit(EXIT_FAILURE);
}

void handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& text) {
    const QString line = text.simplified();
    if (type == QtFatalMsg || tellsOfLostDisplay(line)) {
        // Several threads may see the end. The first never returns, and the others wait for it here.
        static std::once_flag isEnding;
        std::call_once(isEnding, endProcess, line);
    }
    if (isDisplayFound) return formerHandler(type, context, text);
    // The reasons come before this one, which is the same each time.
    if (!line.startsWith(u"Could not load the Qt platform plugin")) faults += line;
}

}  // namespace

ToolkitMessages::ToolkitMessages() {
    formerHandler = qInstallMessageHandler(handleMessage);
}

ToolkitMessages::~ToolkitMessages() {
    qInstallMessageHandler(formerHandler);
}

void ToolkitMessages::displayIsFound(std::function<void()> finishing) {
    finish = std::move(finishing);
    isDisplayFound = true;
}

}  // namespace dovra
