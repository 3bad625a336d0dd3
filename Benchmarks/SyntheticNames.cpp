#include "SyntheticNames.hpp"

#include <fmt/format.h>
#include <iterator>

namespace dovra::benchmarks {

namespace {

constexpr std::size_t wordCount = 6000;

/// The most frequent words; the others are made of syllables.
constexpr std::string_view commonWords[] = {
    "test",    "index",    "main",    "data",     "config",  "image",   "report",   "module",  "core",
    "utils",   "file",     "list",    "package",  "view",    "model",   "common",   "type",    "license",
    "readme",  "build",    "default", "service",  "cache",   "icon",    "table",    "render",  "message",
    "project", "user",     "client",  "server",   "parser",  "string",  "draft",    "archive", "invoice",
    "photo",   "video",    "music",   "album",    "holiday", "meeting", "notes",    "plan",    "budget",
    "letter",  "contract", "summary", "backup",   "export",  "import",  "template", "style",   "theme",
    "widget",  "button",   "window",  "layout",   "dialog",  "handler", "factory",  "manager", "context",
    "session", "request",  "result",  "response", "stream",  "buffer",  "encoder",  "thread",  "worker",
    "kernel",  "driver",   "network", "socket",   "filter",  "graph",   "matrix",   "vector",  "zephyr"};

constexpr std::string_view syllables[] = {
    "ra", "lo",  "ti",  "en",  "mar", "con", "ve", "si",  "ta",  "ber", "qui", "no",  "sal", "der",
    "ne", "pol", "gra", "mi",  "cha", "lu",  "zo", "fi",  "tor", "ex",  "pre", "wil", "hy",  "dro",
    "ka", "su",  "bel", "ing", "ous", "jet", "ol", "vin", "rex", "ul",  "est", "am"};

constexpr std::string_view extensions[] = {".js",  ".png", ".py",   ".h",   ".html", ".txt", ".json", ".jpg",
                                           ".c",   ".md",  ".cpp",  ".xml", ".svg",  ".pdf", ".css",  ".ts",
                                           ".o",   ".so",  ".java", ".yml", ".gz",   ".log", ".mp3",  ".docx",
                                           ".csv", ".mp4", ".conf", ".sh",  ".zip",  ".sql", ".go",   ".rs",
                                           ".ttf", ".bak", ".tmp",  ".ods", ".heic", ".epub"};

constexpr std::string_view wordsBeyondAscii[] = {"Übersicht", "café", "naïve",  "Größe", "año",    "Résumé",
                                                 "отчёт",     "фото", "日本語", "资料",  "música", "garçon"};

}  // namespace

const std::vector<SyntheticNames::WeightedPattern> SyntheticNames::patterns = {
    {26, &SyntheticNames::joinedWords}, {16, &SyntheticNames::camelCase},
    {13, &SyntheticNames::numbered},    {9, &SyntheticNames::withTwoExtensions},
    {10, &SyntheticNames::title},       {9, &SyntheticNames::hash},
    {4, &SyntheticNames::beyondAscii},  {3, &SyntheticNames::hidden},
    {7, &SyntheticNames::photo},        {3, &SyntheticNames::bareWord},
};

SyntheticNames::SyntheticNames(Random& random)
    : random_(random), words_(std::begin(commonWords), std::end(commonWords)) {
    while (words_.size() < wordCount) {
        std::string word;
        for (std::size_t left = 2 + random_.below(3); left > 0; --left)
            word += syllables[random_.below(std::size(syllables))];
        words_.push_back(std::move(word));
    }
}

std::string_view SyntheticNames::fileName() {
    name_.clear();
    std::size_t roll = random_.below(100);
    for (const auto& [percent, pattern] : patterns) {
        if (roll < percent) {
            (this->*pattern)();
            break;
        }
        roll -= percent;
    }
    return name_;
}

std::string_view SyntheticNames::folderName() {
    name_ = word();
    if (random_.percent(30)) name_.append("-").append(word());
    if (random_.percent(15)) addDigits(1 + random_.below(4));
    return name_;
}

void SyntheticNames::joinedWords() {
    const char separator = random_.percent(60) ? '_' : '-';
    name_ = word();
    for (std::size_t left = 1 + random_.below(3); left > 0; --left)
        (name_ += separator) += word();
    addExtension();
}

void SyntheticNames::camelCase() {
    for (std::size_t left = 2 + random_.below(2); left > 0; --left)
        addCapitalised(word());
    addExtension();
}

void SyntheticNames::numbered() {
    name_ = word();
    if (random_.percent(50)) name_ += random_.percent(50) ? '_' : '-';
    addDigits(1 + random_.below(6));
    addExtension();
}

void SyntheticNames::withTwoExtensions() {
    name_ = word();
    if (random_.percent(40)) name_.append("-").append(word());
    addExtension();
    addExtension();
}

void SyntheticNames::title() {
    addCapitalised(word());
    for (std::size_t left = 1 + random_.below(3); left > 0; --left) {
        name_ += ' ';
        addCapitalised(word());
    }
    if (random_.percent(40)) name_ += fmt::format(" ({})", 1 + random_.below(12));
    addExtension();
}

void SyntheticNames::hash() {
    for (std::size_t left = 2 + random_.below(2); left > 0; --left)
        fmt::format_to(std::back_inserter(name_), "{:016x}", random_.next());
    if (random_.percent(40)) addExtension();
}

void SyntheticNames::beyondAscii() {
    name_ = random_.favourFront(std::span<const std::string_view>(wordsBeyondAscii));
    name_.append("_").append(word());
    addExtension();
}

void SyntheticNames::hidden() {
    name_ = ".";
    name_ += word();
    if (random_.percent(50)) name_ += "rc";
}

void SyntheticNames::photo() {
    name_ = "IMG_20";
    addDigits(6);
    name_ += '_';
    addDigits(6);
    name_ += ".jpg";
}

void SyntheticNames::bareWord() {
    name_ = word();
}

std::string_view SyntheticNames::word() {
    return random_.favourFront(std::span<const std::string>(words_));
}

void SyntheticNames::addCapitalised(std::string_view word) {
    name_ += static_cast<char>(word.front() - 'a' + 'A');
    name_ += word.substr(1);
}

void SyntheticNames::addExtension() {
    name_ += random_.favourFront(std::span<const std::string_view>(extensions));
}

void SyntheticNames::addDigits(std::size_t count) {
    for (; count > 0; --count)
        name_ += static_cast<char>('0' + random_.below(10));
}

}  // namespace dovra::benchmarks
