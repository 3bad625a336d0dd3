# What Dovra does not write itself, and why each library was chosen. All are packages of the distribution.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

# Regular expressions: the one engine at hand with lookaround, Unicode classes and a JIT compiler.
pkg_check_modules(PCRE2 REQUIRED IMPORTED_TARGET libpcre2-8)
# Unicode folding, normalisation and properties, and the calendar: complete and maintained.
find_package(ICU REQUIRED COMPONENTS i18n uc)
# Parallel loops on a warm thread pool: a small batch must not pay for starting threads.
find_package(TBB REQUIRED)
# Text formatting.
find_package(fmt REQUIRED)
# Property lists (tags in extended attributes): reads the binary and the XML form.
pkg_check_modules(PLIST REQUIRED IMPORTED_TARGET libplist-2.0)
# SHA-256: uses the processor's instructions for it. Linked in: loading it would cost every start a millisecond.
set(OPENSSL_USE_STATIC_LIBS ON)
find_package(OpenSSL REQUIRED COMPONENTS Crypto)
