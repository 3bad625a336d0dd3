#include "Platform/Linux/MountTable.hpp"

#include <algorithm>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <poll.h>
#include <sstream>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <utility>

#include "Base/PathText.hpp"

namespace dovra {

namespace {

// Threads can have mounts of their own.
constexpr const char* tablePath = "/proc/thread-self/mountinfo";

/// The table writes spaces, tabs, line ends and backslashes as a backslash and three octal digits.
std::string unescaped(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 3 < text.size()) {
            bytes += static_cast<char>(std::stoi(text.substr(i + 1, 3), nullptr, 8));
            i += 3;
        } else {
            bytes += text[i];
        }
    }
    return bytes;
}

/// One line: "36 35 98:0 /root /place options [optional fields] - type source superoptions".
std::optional<Mount> parseMount(const std::string& line) {
    std::istringstream fields(line);
    Mount mount;
    std::string word;
    unsigned majorNumber = 0;
    unsigned minorNumber = 0;
    char colon = 0;
    fields >> mount.id >> mount.parent >> majorNumber >> colon >> minorNumber >> mount.root >> mount.place;
    while (fields >> word && word != "-") {
    }
    if (!(fields >> mount.type >> mount.source)) return std::nullopt;
    mount.device = makedev(majorNumber, minorNumber);
    mount.place = unescaped(mount.place);
    mount.source = unescaped(mount.source);
    return mount;
}

}  // namespace

std::vector<Mount> readMounts() {
    std::vector<Mount> mounts;
    std::ifstream table(tablePath);
    for (std::string line; std::getline(table, line);) {
        if (auto mount = parseMount(line)) mounts.push_back(*std::move(mount));
    }
    return mounts;
}

bool isVisible(const Mount& mount, const std::vector<Mount>& table) {
    const auto isCovered = [&](const Mount& at, int parent) {
        // No mount over the root of the process is visible to it.
        return std::ranges::any_of(table, [&](const Mount& other) {
            return other.id != at.id && other.parent == parent && other.place != "/" &&
                   isAtOrBelow(at.place, other.place);
        });
    };
    if (isCovered(mount, mount.id)) return false;
    for (const Mount* at = &mount; at != nullptr;) {
        if (isCovered(*at, at->parent)) return false;
        const auto parent = std::ranges::find(table, at->parent, &Mount::id);
        at = parent == table.end() || parent->id == at->id ? nullptr : &*parent;
    }
    return true;
}

std::optional<Mount> mountHolding(const std::string& path, const std::vector<Mount>& table) {
    struct statx found {};
    if (::statx(AT_FDCWD, path.c_str(), AT_STATX_DONT_SYNC, STATX_MNT_ID, &found) != 0) return std::nullopt;
    const auto id = static_cast<int>(found.stx_mnt_id);
    const auto listed = std::ranges::find(table, id, &Mount::id);
    Mount mount{.id = id, .device = makedev(found.stx_dev_major, found.stx_dev_minor)};
    if (listed != table.end()) mount = *listed;
    mount.place = path;
    return mount;
}

std::uint64_t mountInstance(const std::string& place) {
    constexpr unsigned uniqueMountId = 0x4000;  // STATX_MNT_ID_UNIQUE, which older headers do not name
    struct statx found {};
    if (::statx(AT_FDCWD, place.c_str(), AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC, STATX_INO | uniqueMountId,
                &found) != 0)
        return 0;
    return (found.stx_mask & uniqueMountId) != 0 ? found.stx_mnt_id : found.stx_ino;
}

MountWatch::MountWatch() : table_(::open(tablePath, O_RDONLY | O_CLOEXEC)) {}

bool MountWatch::hasChanged() const {
    pollfd table{.fd = table_.number(), .events = POLLPRI, .revents = 0};
    return ::poll(&table, 1, 0) > 0 && (table.revents & (POLLPRI | POLLERR)) != 0;
}

bool MountWatch::readsOtherwise() {
    std::ifstream file(tablePath);
    std::string text(std::istreambuf_iterator<char>(file), {});
    return std::exchange(text_, text) != text;
}

}  // namespace dovra
