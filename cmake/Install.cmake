# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

# What lets others build against the installed library: the CMake package and the .pc file.
include(CMakePackageConfigHelpers)

set(VANTREL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/VantrelAgent)
configure_package_config_file(
    ${CMAKE_CURRENT_LIST_DIR}/VantrelAgentConfig.cmake.in ${CMAKE_BINARY_DIR}/VantrelAgentConfig.cmake
    INSTALL_DESTINATION ${VANTREL_CMAKE_DIR})
# Until 1.0 a new minor version may change what is public.
write_basic_package_version_file(
    ${CMAKE_BINARY_DIR}/VantrelAgentConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/VantrelAgentConfig.cmake
              ${CMAKE_BINARY_DIR}/VantrelAgentConfigVersion.cmake
        DESTINATION ${VANTREL_CMAKE_DIR})
install(EXPORT VantrelAgentTargets NAMESPACE VantrelAgent:: DESTINATION ${VANTREL_CMAKE_DIR})

# The prefix in the .pc file is relative to its own place, so that --prefix at install time works.
set(PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH PC_TO_PREFIX /${PC_DIR} /)
configure_file(${CMAKE_CURRENT_LIST_DIR}/vantrelagent.pc.in ${CMAKE_BINARY_DIR}/vantrelagent.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/vantrelagent.pc DESTINATION ${PC_DIR})

foreach(program pakmart pakmart-dbtool pakmart-storeserver vos-apt-get pakmart-mkroot)
    install(FILES ${CMAKE_SOURCE_DIR}/docs/man/${program}.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endforeach()

# The library's own places are fixed, wherever the rest is: the data folder, which is to be
# there for the agent to write to, and the front end that it runs.
install(DIRECTORY DESTINATION ${CMAKE_INSTALL_DATADIR}/apps/vantrelagent)
install(CODE [[
    if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
        message(STATUS "The library runs /usr/bin/vos-apt-get and keeps its data in "
                       "/usr/share/apps/vantrelagent: without these it works in a private root only")
    endif()
]])
