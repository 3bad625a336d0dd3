#pragma once

#include <chrono>
#include <cstddef>
#include <fmt/format.h>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Base/Locks.hpp"
#include "Platform/AtomicFile.hpp"
#include "Platform/DispatchQueue.hpp"

namespace dovra {

/// The file of a user store, which several processes may read and rewrite. A rewrite reads and replaces the
/// file under the lock of a file beside it, so that none undoes another. Any thread may call its operations.
class StoreFile {
public:
    /// More than any store holds. A longer file is neither read nor written.
    static constexpr std::size_t maxBytes = std::size_t{16} * 1024 * 1024;

    explicit StoreFile(std::string path) : path_(std::move(path)) {}

    const std::string& path() const { return path_; }

    FileContents read() const { return readWholeFile(path_, maxBytes); }

    struct Rewritten {
        std::string text;
        /// Whether the present file holds data that the text lacks. It is then kept under the first free name
        /// of path + ".unreadable-1" to "-99".
        bool keepsPresent = false;
    };
    using Rewrite = std::function<Rewritten(const FileContents& present)>;

    /// Replaces the file by the result of `rewrite`. On failure the present file stays in its place and the
    /// error is returned.
    [[nodiscard]] std::optional<FileError> rewrite(const Rewrite& rewrite) const;

private:
    std::optional<FileError> replace(const Rewritten& rewritten) const;

    std::string path_;
};

/// The path of a store's file in the folder of the program's files; absent when there is no such folder.
std::optional<std::string> storeLocation(std::string_view fileName);

/// The common part of the user stores: a table in memory, guarded by a mutex, and its file. Changes are saved
/// in the background, those of a short time together.
///
/// Several processes may share the file. So a save reads the file anew, applies the changes made here since
/// the last save, and writes the result, all under the file's lock. The result becomes the table. The table
/// itself is written only when the file is missing or cannot be read. Unreadable data that a save would lose
/// is kept beside the file (see `StoreFile`).
///
/// `Table` is a value with
///   Changes                         a sequence of changes: `isEmpty()`, `apply(later)`
///   apply(changes)
///   encode()                        the file's text
///   decode(text)                    absent when the text is no table at all, else `table` and `isWhole`,
///                                   whether everything in the text is in the table
///
/// Any thread may call its operations. The mutex is never held during file access. The object is held by a
/// shared pointer, because a due save holds it weakly. The destructor does a save that is still due.
template <typename Table>
class PersistentTable : public std::enable_shared_from_this<PersistentTable<Table>> {
public:
    using Changes = typename Table::Changes;

    struct Options {
        std::optional<std::string> path;  ///< absent: in memory only
        std::string queueLabel;
        std::chrono::milliseconds saveDelay{};
    };

    /// Loads the table. A missing or unreadable file gives an empty one.
    explicit PersistentTable(Options options)
        : saveDelay_(options.saveDelay), queue_(std::move(options.queueLabel), QualityOfService::utility) {
        if (options.path) file_.emplace(std::move(*options.path));
        if (file_) load();
    }

    ~PersistentTable() {
        if (isSaveDue()) (void)flush();
    }

    PersistentTable(const PersistentTable&) = delete;
    PersistentTable& operator=(const PersistentTable&) = delete;

    /// Whether the table outlasts the process.
    bool hasFile() const { return file_.has_value(); }

    /// The error of reading the file at the start, or a part of it; absent when all was read or there was no
    /// file.
    const std::optional<FileError>& loadError() const { return loadError_; }

    /// Returns the result of `read(table)`, called under the mutex.
    template <typename Read>
    auto read(const Read& read) const DOVRA_EXCLUDES(mutex_) {
        const MutexGuard guard(mutex_);
        return read(std::as_const(table_));
    }

    /// Changes the table, and schedules a save after the delay unless one is due already.
    void change(const Changes& changes) DOVRA_EXCLUDES(mutex_) {
        if (applyAndAskForSave(changes)) {
            queue_.asyncAfter(saveDelay_, [weak = this->weak_from_this()] {
                if (const auto self = weak.lock()) (void)self->flush();
            });
        }
    }

    /// Takes over what other processes have saved. A file that is missing or cannot be read changes nothing.
    void refresh() DOVRA_EXCLUDES(mutex_, saveMutex_) {
        if (!file_) return;
        const MutexGuard saving(saveMutex_);
        const FileContents present = file_->read();
        auto decoded = present.bytes ? Table::decode(*present.bytes) : std::nullopt;
        if (!decoded) return;
        const MutexGuard guard(mutex_);
        table_ = std::move(decoded->table);
        table_.apply(unsaved_);
    }

    /// Saves the changes, if there are any. On failure the table stays, and the next save tries again.
    std::optional<FileError> flush() DOVRA_EXCLUDES(mutex_, saveMutex_) {
        if (!file_) return std::nullopt;
        const MutexGuard saving(saveMutex_);
        auto [table, changes] = takeUnsaved();
        if (changes.isEmpty()) return std::nullopt;
        auto error = file_->rewrite([&](const FileContents& present) {
            auto decoded = present.bytes ? Table::decode(*present.bytes) : std::nullopt;
            const bool isAllRead = !present.error && (!present.bytes || (decoded && decoded->isWhole));
            if (decoded) {
                table = std::move(decoded->table);
                table.apply(changes);
            }
            return StoreFile::Rewritten{.text = table.encode(), .keepsPresent = !isAllRead};
        });
        finishSave(std::move(table), std::move(changes), !error);
        return error;
    }

private:
    void load() {
        FileContents contents = file_->read();
        loadError_ = std::move(contents.error);
        if (!contents.bytes) return;
        auto decoded = Table::decode(*contents.bytes);
        if (!decoded || !decoded->isWhole)
            loadError_ = FileError{fmt::format("{} is damaged", file_->path())};
        if (!decoded) return;
        const MutexGuard guard(mutex_);
        table_ = std::move(decoded->table);
    }

    bool isSaveDue() const {
        const MutexGuard guard(mutex_);
        return saveScheduled_;
    }

    /// Returns whether the caller is to schedule a save.
    bool applyAndAskForSave(const Changes& changes) {
        const MutexGuard guard(mutex_);
        table_.apply(changes);
        if (!file_) return false;
        unsaved_.apply(changes);
        return !std::exchange(saveScheduled_, true);
    }

    std::pair<Table, Changes> takeUnsaved() {
        const MutexGuard guard(mutex_);
        saveScheduled_ = false;
        return {table_, std::exchange(unsaved_, {})};
    }

    void finishSave(Table saved, Changes changes, bool isSaved) {
        const MutexGuard guard(mutex_);
        if (isSaved) {
            table_ = std::move(saved);
            table_.apply(unsaved_);
        } else {
            changes.apply(unsaved_);
            unsaved_ = std::move(changes);
        }
    }

    // Set by the constructor alone.
    std::optional<StoreFile> file_;
    std::optional<FileError> loadError_;
    std::chrono::milliseconds saveDelay_;

    Mutex saveMutex_;  ///< held for a whole save: two never overlap

    mutable Mutex mutex_;
    Table table_ DOVRA_GUARDED_BY(mutex_);
    Changes unsaved_ DOVRA_GUARDED_BY(mutex_);
    bool saveScheduled_ DOVRA_GUARDED_BY(mutex_) = false;

    DispatchQueue queue_;
};

}  // namespace dovra
