# Third-party dependencies, all from Debian 12 packages.
find_package(Qt5 5.15 REQUIRED COMPONENTS Core Xml)
find_package(OpenSSL 3 REQUIRED)
find_package(CURL REQUIRED)
find_package(Boost 1.74 REQUIRED COMPONENTS system)
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(NANOMSG REQUIRED IMPORTED_TARGET nanomsg)

# Debian's curlpp.pc carries relative -I/-L paths, so the package is located by hand.
find_path(CURLPP_INCLUDE_DIR curlpp/Easy.hpp REQUIRED)
find_library(CURLPP_LIBRARY curlpp REQUIRED)
if(NOT TARGET Norvik::curlpp)
    add_library(Norvik::curlpp UNKNOWN IMPORTED)
    set_target_properties(Norvik::curlpp PROPERTIES
        IMPORTED_LOCATION "${CURLPP_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${CURLPP_INCLUDE_DIR}"
        INTERFACE_LINK_LIBRARIES CURL::libcurl)
endif()
