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

/// The file of a user store, which several processes may read and rewrite. A rewrite reads the file and
/// replaces it while a lock file beside it is held, so that none undoes another's. Any thread.
class StoreFile {
public:
    /// More than any store holds; a file beyond it is not read, and none is written.
    static constexpr std::size_t maxBytes = std::size_t{16} * 1024 * 1024;

    explicit StoreFile(std::string path) : path_(std::move(path)) {}

    const std::string& path() const { return path_; }

    FileContents read() const { return readWholeFile(path_, maxBytes); }

    struct Rewritten {
        std::string text;
        /// Whether the present file holds something that the text does not take over: it is kept beside,
        /// under the first free name of path + ".unreadable-1" to "-99".
        bool keepsPresent = false;
    };
    using Rewrite = std::function<Rewritten(const FileContents& present)>;

    /// Replaces the file by what `rewrite` makes of it. On failure the present file stays in its place and
    /// the error is returned.
    [[nodiscard]] std::optional<FileError> rewrite(const Rewrite& rewrite) const;

private:
    std::optional<FileError> replace(const Rewritten& rewritten) const;

    std::string path_;
};

/// The path of a store's file in the folder that the program keeps its files in; absent when there is no such
/// folder.
std::optional<std::string> storeLocation(std::string_view fileName);

/// What the user stores share: a table in memory, guarded by a mutex, and a file that it is saved to in the
/// background, all changes of some moments together.
///
/// Several processes may have the file. So a save does not write the table: it reads the file anew, applies
/// what was changed here since the last save, and writes that, all under the file's lock; the result is the
/// table from then on. Only where there is no file, or none that can be read, the table as it is gets
/// written. What a save would lose because it could not be read is kept beside the file (see `StoreFile`).
///
/// `Table` is a value with
///   Changes                         what can be done to it: `isEmpty()`, `apply(later)`
///   apply(changes)
///   encode()                        the file's text
///   decode(text)                    absent when the text is no table at all, else `table` and `isWhole`,
///                                   whether everything in the text is in the table
///
/// Any thread may call it. The mutex is never held during file access. Held by a shared pointer: a save that
/// is due holds it weakly. When the object goes with a save still due, it saves.
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

    /// Why the file could not be read at the start, or not all of it; absent when it could or when there was
    /// none.
    const std::optional<FileError>& loadError() const { return loadError_; }

    /// Returns what `read(table)` does, under the mutex.
    template <typename Read>
    auto read(const Read& read) const DOVRA_EXCLUDES(mutex_) {
        const MutexGuard guard(mutex_);
        return read(std::as_const(table_));
    }

    /// Changes the table and has it saved after the delay, unless a save is due already.
    void change(const Changes& changes) DOVRA_EXCLUDES(mutex_) {
        if (applyAndAskForSave(changes)) {
            queue_.asyncAfter(saveDelay_, [weak = this->weak_from_this()] {
                if (const auto self = weak.lock()) (void)self->flush();
            });
        }
    }

    /// Saves what was changed; does nothing when nothing was. On failure the table stays, and the next save
    /// tries again.
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

    /// Whether the caller is to schedule a save.
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
