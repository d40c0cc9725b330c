# SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
# SPDX-License-Identifier: MIT
#
# The two Debian packages, made by `./run package`.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The desk-terminal-service authors <maintainers@desk-terminal.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY "${CMAKE_BINARY_DIR}/packages")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL service virtual)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)
set(CPACK_DEBIAN_PACKAGE_SECTION misc)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# libcardreader.so is the service's own and in no package of its own.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_BINARY_DIR}/bin")

set(packaging "${CMAKE_SOURCE_DIR}/packaging")
set(CPACK_DEBIAN_SERVICE_PACKAGE_NAME desk-terminal-service)
set(CPACK_COMPONENT_SERVICE_DESCRIPTION
    "drive a service counter's peripherals for web pages
A web page opens a WebSocket to this machine and drives the devices of a
service counter: the signature pad on its own display, two kinds of
identity-card reader, a smart-card reader for SIM cards, the document
camera and the portrait camera.
.
The package starts the service with the desktop session, gives the devices
to whoever sits at the desk, and contains the client library, the console
page and the documents for developers and administrators.")
# What the program's libraries do not show: the launcher's tools and the fonts of windows and card faces.
# "Liberation Sans Narrow" has moved to a package of its own with Debian 13.
set(CPACK_DEBIAN_SERVICE_PACKAGE_DEPENDS
    "fontconfig, fonts-liberation-sans-narrow | fonts-liberation (<< 1:2), fonts-noto-cjk, iproute2, passwd, udev")
set(CPACK_DEBIAN_SERVICE_PACKAGE_RECOMMENDS "pcscd, pcsc-tools, x11-xserver-utils")
set(CPACK_DEBIAN_SERVICE_PACKAGE_CONTROL_EXTRA
    "${packaging}/debian/conffiles;${packaging}/debian/postinst;${packaging}/debian/prerm;${packaging}/debian/postrm")

set(CPACK_DEBIAN_VIRTUAL_PACKAGE_NAME desk-terminal-virtual)
set(CPACK_COMPONENT_VIRTUAL_DESCRIPTION
    "service counter without hardware, for developers of web pages
Runs the desk-terminal service on emulated devices and offers a port of
this machine alone on which programs and the console page play the desk:
lay down cards, write on the pad, pull plugs and break devices.
.
It has no place on a counter.")
set(CPACK_DEBIAN_VIRTUAL_PACKAGE_DEPENDS
    "desk-terminal-service (= ${PROJECT_VERSION}), pcscd, umockdev, vsmartcard-vpcd, xvfb")

include(CPack)
