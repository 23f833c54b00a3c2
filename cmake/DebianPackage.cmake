# A Debian package of what the build tree installs: `cpack --config
# CPackConfig.cmake` in the build folder (tools/package does it). CPack runs
# dpkg-shlibdeps over the installed programs for the shared libraries they
# link; what is loaded at run time instead (QML modules, the X11 platform
# plugin, the fonts the views draw with) is listed here by hand, and the
# package test checks the QML part of that list against the QML imports.

set(TARNWICK_CONTACT "The Tarnwick developers <tarnwick@users.noreply.github.com>")

# Debian keeps a package's changelog and copyright in its doc folder,
# compressed where they may be.
set(doc_dir ${CMAKE_INSTALL_DATADIR}/doc/tarnwick)
add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/debian/changelog.gz
  COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/debian
  COMMAND sh -c "gzip -9n < '${PROJECT_SOURCE_DIR}/data/debian/changelog' > '${CMAKE_BINARY_DIR}/debian/changelog.gz'"
  DEPENDS ${PROJECT_SOURCE_DIR}/data/debian/changelog VERBATIM)
add_custom_target(debian_changelog ALL DEPENDS ${CMAKE_BINARY_DIR}/debian/changelog.gz)
install(FILES ${CMAKE_BINARY_DIR}/debian/changelog.gz ${PROJECT_SOURCE_DIR}/data/debian/copyright
  DESTINATION ${doc_dir})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tarnwick)
set(CPACK_PACKAGE_VENDOR "The Tarnwick developers")
set(CPACK_PACKAGE_CONTACT "${TARNWICK_CONTACT}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "notch utility: music, files, mirror and calendar at the top of the screen")
# CPack puts the summary above this as the synopsis line.
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "Tarnwick turns the top centre of the screen into a small interactive surface.
On a MacBook running Asahi Linux it sits on the camera notch; on every other
screen it draws a notch of its own under the top panel. Hover or press it and
it opens into the Nook: a Now Playing turntable for any MPRIS media player, a
file tray with the Downloads folder and recent files, a camera mirror that
checks lighting and framing before a call, the day's calendar with quick add,
AirPods battery levels and the output volume.
.
It works on KDE Plasma, GNOME, Xfce and other desktops, on X11 and on Wayland
through XWayland, and does no work while the notch is closed.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE https://github.com/tarnwick/tarnwick)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Files and folders as root with the usual modes, whatever the builder's umask.
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(TARNWICK_RUNTIME_DEPENDS
  # QML modules the views import
  qml6-module-qtqml qml6-module-qtqml-models qml6-module-qtqml-workerscript
  qml6-module-qtquick qml6-module-qtquick-window qml6-module-qtquick-shapes
  qml6-module-qtquick-layouts qml6-module-qtquick-controls qml6-module-qtquick-templates
  # The camera mirror reaches webcams through GStreamer (V4L2 devices come
  # with plugins-good; the conversion to the frames it reads, with -base).
  gstreamer1.0-plugins-base gstreamer1.0-plugins-good
  # The X11 platform plugin, and SVG for the themed tray icon
  qt6-qpa-plugins libqt6svg6
  # The text font and the icon glyphs of every view
  fonts-dejavu-core fonts-material-design-icons-iconfont)
list(JOIN TARNWICK_RUNTIME_DEPENDS ", " CPACK_DEBIAN_PACKAGE_DEPENDS)
# Previews of PDF and other documents in the tray come from the installed
# thumbnailers; sending to a phone uses KDE Connect when it is there;
# cameras that PipeWire offers need its GStreamer source.
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "evince, kdeconnect, gstreamer1.0-pipewire")
include(CPack)
