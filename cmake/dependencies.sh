# The one place where versions stand: what is installed with the package manager, and which sources are built here.
# Read by ./dev and by cmake/build-dependencies.sh.

# Packages that a build and its tests need (Debian 12 names).
VDIPC_PACKAGES=(
  g++-mingw-w64-x86-64-posix # the cross compiler, POSIX threads
  lld                        # links its test programs
  g++ libc6-dev clang        # native compilers: for the dependencies, and for the sanitizer builds
  libclang-rt-14-dev         # the sanitizers' run-times
  cmake ninja-build
  dpkg-dev                   # unpacks source packages
  wine wine64                # runs what the cross compiler makes
  locales                    # localedef, for the tests under code page 936
  rapidjson-dev libcli11-dev # header-only libraries
  python3
)

# What the tests of the pages need on top, beside Node with npm and the modules of tests/page. The browser is driven as it is
# packaged, and the font has Chinese.
VDIPC_PAGE_PACKAGES=(chromium fonts-noto-cjk)

# What ./dev check and ./dev format need on top.
VDIPC_CHECK_PACKAGES=(clang-format clang-tidy)

# Source packages: name, upstream version. The newest revision of that very version is taken.
VDIPC_SOURCES=(
  "libjsoncpp 1.9.5"
  "fmtlib 9.1.0"
  "googletest 1.12.1"
  "benchmark 1.7.1"
  "cpp-httplib 0.11.4"
)

# Node of its own for Windows, from a package of the npm registry: version, and the package's SHA-512. The client in TypeScript
# is tested with it under Wine. What else it needs stands in clients/typescript/package-lock.json.
VDIPC_NODE_PACKAGES=(nodejs npm) # where there is no Node 18 or later
VDIPC_WINDOWS_NODE="18.20.8 6de846201176190f54ddcff11efcd8d108bcbb8e889916d54d2bf934b4f29e9abccaa896dadefbf3e5520757ad0b6c6fd997563d7cefec58df2c78c5051296d1"
