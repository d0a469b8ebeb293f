# Debian packages: `cpack -G DEB` in a release build's directory writes ravd_*.deb, ravd-lab_*.deb and ravd-hostd_*.deb.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ravd)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The ravd authors <ravd@ravd.invalid>")
set(CPACK_COMPONENTS_ALL device lab)
if(TARGET ravd-hostd)
    list(APPEND CPACK_COMPONENTS_ALL host)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)

set(CPACK_DEBIAN_DEVICE_PACKAGE_NAME ravd)
set(CPACK_DEBIAN_DEVICE_DESCRIPTION "radio resource management agent of an access point
Connects a dual-radio Wi-Fi access point to a radio service over a websocket:
describes its radios, scans the air, reports neighbours and clients, and
applies channel, power, steering, neighbour lists and key holders.")
set(CPACK_DEBIAN_DEVICE_PACKAGE_SUGGESTS "hostapd, ravd-lab")
set(scripts ${CMAKE_CURRENT_SOURCE_DIR}/debian)
set(CPACK_DEBIAN_DEVICE_PACKAGE_CONTROL_EXTRA ${scripts}/conffiles ${scripts}/postinst ${scripts}/prerm ${scripts}/postrm)

set(CPACK_DEBIAN_LAB_PACKAGE_NAME ravd-lab)
set(CPACK_DEBIAN_LAB_DESCRIPTION "simulated access point and lab radio service for ravd
A complete access point without hardware and a radio service with an automatic
planner, to try, demonstrate and test the agent ravd on any machine.")
set(CPACK_DEBIAN_LAB_PACKAGE_DEPENDS "ravd (= ${PROJECT_VERSION})")
if(RAVD_CONSOLE)
    string(APPEND CPACK_DEBIAN_LAB_PACKAGE_DEPENDS ", libjs-chart.js")
endif()

set(CPACK_DEBIAN_HOST_PACKAGE_NAME ravd-hostd)
set(CPACK_DEBIAN_HOST_DESCRIPTION "ravd on an access point of hostapd and mainline drivers
Configuration service and network daemon for the agent ravd: answers from
hostapd and the kernel, applies channel, power and key holders without losing
clients, tells of clients and of hostapd's life, and makes the interfaces.")
set(CPACK_DEBIAN_HOST_PACKAGE_DEPENDS "ravd (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_HOST_PACKAGE_SUGGESTS "hostapd, iw")
set(host_scripts ${CMAKE_CURRENT_SOURCE_DIR}/debian/ravd-hostd)
set(CPACK_DEBIAN_HOST_PACKAGE_CONTROL_EXTRA
    ${host_scripts}/conffiles ${host_scripts}/postinst ${host_scripts}/prerm ${host_scripts}/postrm)

# What each Debian package says of itself: changes and licence.
string(TIMESTAMP date "%a, %d %b %Y 00:00:00 +0000" UTC)
set(packages "device\;ravd" "lab\;ravd-lab")
if(TARGET ravd-hostd)
    list(APPEND packages "host\;ravd-hostd")
endif()
foreach(pair IN LISTS packages)
    list(GET pair 0 component)
    list(GET pair 1 package)
    configure_file(debian/changelog.in ${package}.changelog @ONLY)
    add_custom_command(OUTPUT ${package}.changelog.gz
        COMMAND ${RAVD_GZIP} -9nc ${CMAKE_CURRENT_BINARY_DIR}/${package}.changelog > ${package}.changelog.gz
        DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/${package}.changelog VERBATIM)
    add_custom_target(changelog_${component} ALL DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/${package}.changelog.gz)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${package}.changelog.gz RENAME changelog.gz
            DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
    install(FILES debian/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
endforeach()

include(CPack)
