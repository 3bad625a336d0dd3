// Decodes one file for its preview, in a process of its own: a hostile file that takes over a library of
// formats here gains next to nothing.
#include <QFile>
#include <QGuiApplication>
#include <QLibraryInfo>
#include <QStringList>
#include <exception>
#include <new>

#include "Base/Print.hpp"
#include "Platform/Paths.hpp"
#include "Platform/ProcessLimits.hpp"
#include "Preview/PreviewMessage.hpp"
#include "PreviewDecoder/Decoders.hpp"

using namespace dovra;

namespace {

constexpr int misuse = 2;

/// Where the libraries read their parts, fonts and settings.
std::vector<std::string> foldersOfLibraries() {
    std::vector<std::string> folders = {"/usr",
                                        "/etc",
                                        "/lib",
                                        "/lib64",
                                        "/var/cache/fontconfig",
                                        QLibraryInfo::path(QLibraryInfo::PluginsPath).toStdString()};
    const std::string home = homeFolderPath().value_or("");
    for (const char* folder : {"/.fonts", "/.local/share/fonts", "/.config/fontconfig", "/.cache/fontconfig"})
        folders.push_back(home + folder);
    return folders;
}

/// Reading a page or an image of usual size takes a tenth of this.
ProcessLimits limits() {
    using namespace std::chrono_literals;
    return {.memoryBytes = std::size_t{1} << 30,
            .processorTime = 2s,
            .openFiles = 64,
            .readableFolders = foldersOfLibraries()};
}

void decode(DecodedFile& file, const QStringList& words) {
    if (words.size() == 3) return decodeThumbnail(file, words[2]);
    // The order is that of certainty: media have the least certain marks.
    for (const auto decodeKind : {decodeDocument, decodeDrawing, decodeImage, decodeMedia})
        if (decodeKind(file)) return;
    throw DecodingError("its kind is not known");
}

int run(const QStringList& words) {
    bool isNumber = false;
    const int pixels = words.value(1).toInt(&isNumber);
    if (words.size() > 3 || !isNumber || pixels < 1 || pixels > mostPreviewPixels) {
        printError(
            "usage: dovra-preview PIXELS [SECONDS] <FILE\n"
            "Writes a picture of the file, of at most 1 to {} pixels on a side, and facts about it.\n"
            "With SECONDS the file is a thumbnail of one that changed at that time since 1970.\n",
            mostPreviewPixels);
        return misuse;
    }
    QFile input;
    if (!input.open(0, QIODevice::ReadOnly) || input.isSequential())
        throw DecodingError("standard input is not a file");
    DecodedFile file(input, pixels);
    decode(file, words);
    return 0;
}

}  // namespace

int main(int count, char** words) {
    // Standard error is for one line of ours.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    if (const auto refusal = confineProcess(limits())) {
        printError("dovra-preview: {}\n", *refusal);
        return 1;
    }
    // Drawn text needs fonts, which the toolkit has only with windows; these are never on a screen.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qunsetenv("QT_QPA_PLATFORMTHEME");
    const QGuiApplication application(count, words);
    try {
        return run(QGuiApplication::arguments());
    } catch (const std::bad_alloc&) {
        printError("it needs too much memory\n");
        return 1;
    } catch (const std::exception& error) {
        printError("{}\n", error.what());
        return 1;
    }
}
