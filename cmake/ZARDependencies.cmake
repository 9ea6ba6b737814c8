# Every third-party library comes from the system (Debian's packages, see scripts/install-deps.sh).
find_package(Threads REQUIRED)
find_package(fmt REQUIRED)
find_package(spdlog REQUIRED)
find_package(Protobuf REQUIRED)
# The pass log's JSON lines (header-only).
find_package(nlohmann_json REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(PLIST REQUIRED IMPORTED_TARGET libplist-2.0)
pkg_check_modules(RTMIDI REQUIRED IMPORTED_TARGET rtmidi)
pkg_check_modules(JACK REQUIRED IMPORTED_TARGET jack)
# The X11 desktop: AT-SPI over D-Bus for accessibility (libdbus; of AT-SPI's own library only the
# header of the protocol's constants), XCB with XTest and RandR for input and screens.
pkg_check_modules(DBUS REQUIRED IMPORTED_TARGET dbus-1)
find_path(ATSPI_CONSTANTS_INCLUDE_DIR atspi/atspi-constants.h PATH_SUFFIXES at-spi-2.0 REQUIRED)
pkg_check_modules(XCB REQUIRED IMPORTED_TARGET xcb xcb-xtest xcb-randr)
