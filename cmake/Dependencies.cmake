# The libraries that Dovra uses, with the reason for each. All are packages of the distribution.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

# Regular expressions: the one engine at hand with lookaround, Unicode classes and a JIT compiler.
pkg_check_modules(PCRE2 REQUIRED IMPORTED_TARGET libpcre2-8)
# Unicode folding, normalisation and properties: complete and maintained.
find_package(ICU REQUIRED COMPONENTS uc)
# Parallel loops on a warm thread pool: a small batch must not pay for starting threads.
find_package(TBB REQUIRED)
# Text formatting.
find_package(fmt REQUIRED)
# Property lists (tags in extended attributes): reads the binary and the XML form.
pkg_check_modules(PLIST REQUIRED IMPORTED_TARGET libplist-2.0)
# JSON text: strict, and its parser does not recurse.
find_package(nlohmann_json REQUIRED)
# Queues, timers and the web server's sockets: one event library for all. Headers alone, which take seconds to
# compile: they are included in sources only.
find_path(ASIO_INCLUDE_DIR asio.hpp REQUIRED)
add_library(dovra_asio INTERFACE)
target_include_directories(dovra_asio SYSTEM INTERFACE ${ASIO_INCLUDE_DIR})
# This version looks for Clang's coroutines, which ./lint needs, where they were before they became standard.
target_compile_definitions(dovra_asio INTERFACE ASIO_STANDALONE ASIO_NO_DEPRECATED
    ASIO_HAS_CO_AWAIT ASIO_HAS_STD_COROUTINE)
target_link_libraries(dovra_asio INTERFACE Threads::Threads)
if(DOVRA_SANITIZE MATCHES "thread")
    # The sanitizer does not know fences. Handlers are handed over under a mutex, which it knows.
    target_compile_definitions(dovra_asio INTERFACE ASIO_DISABLE_FENCED_BLOCK)
endif()
# The web pages' templates: one header, escapes by default.
find_path(MUSTACHE_INCLUDE_DIR kainjow/mustache.hpp REQUIRED)
# SHA-256: uses the processor's instructions for it. Linked in: loading it would cost every start a millisecond.
set(OPENSSL_USE_STATIC_LIBS ON)
find_package(OpenSSL REQUIRED COMPONENTS Crypto)
# The desktop's windows. Optional, because servers need none of it. The thread sanitizer does not know how the toolkit's
# threads meet.
find_package(Qt6 6.4 QUIET COMPONENTS Widgets DBus Svg)
pkg_check_modules(XCB QUIET IMPORTED_TARGET xcb)
if(Qt6_FOUND AND XCB_FOUND AND NOT DOVRA_SANITIZE MATCHES "thread")
    set(DOVRA_WINDOWS ON)
else()
    set(DOVRA_WINDOWS OFF)
    message(STATUS "The desktop's windows are not built (Debian: qt6-base-dev qt6-svg-dev libxcb1-dev)")
endif()
# Previews: decoders of images, pages and drawings, and facts about media. Optional, because servers need none of it.
# MediaInfo's file for pkg-config names folders of a package that it does not need.
find_package(Qt6 QUIET COMPONENTS Gui Pdf Svg)
find_library(MEDIAINFO_LIBRARY mediainfo)
find_path(MEDIAINFO_INCLUDE_DIR MediaInfo/MediaInfo.h)
if(Qt6_FOUND AND MEDIAINFO_LIBRARY AND MEDIAINFO_INCLUDE_DIR)
    set(DOVRA_PREVIEW_DECODER ON)
else()
    set(DOVRA_PREVIEW_DECODER OFF)
    message(STATUS "Qt 6 or MediaInfo not found: the preview's decoder is not built "
        "(Debian: qt6-base-dev qt6-pdf-dev qt6-svg-dev libmediainfo-dev)")
endif()
