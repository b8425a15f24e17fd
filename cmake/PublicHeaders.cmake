# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

# What hosts may include. In the tree they find these headers, and no others, by the names
# of an installed library, <vantrelagent/request/capi.h>: each is a link to its source. A
# class also has a header of its own name, <VantrelAgent/CAPI>, or <Pakmart/InstallJob> for
# those of the namespace Pakmart.
set(VANTREL_HOST_INCLUDES ${CMAKE_BINARY_DIR}/include)
file(REMOVE_RECURSE ${VANTREL_HOST_INCLUDES})

# vantrel_public_headers(HEADER...), of the folder whose CMakeLists.txt calls it. A public
# header includes others by paths relative to itself.
function(vantrel_public_headers)
    file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR}/src ${CMAKE_CURRENT_SOURCE_DIR})
    string(REGEX REPLACE "^\\.\\./" "" folder ${folder})
    file(MAKE_DIRECTORY ${VANTREL_HOST_INCLUDES}/vantrelagent/${folder})
    foreach(header IN LISTS ARGN)
        file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR}/${header}
             ${VANTREL_HOST_INCLUDES}/vantrelagent/${folder}/${header} SYMBOLIC)
        vantrel_class_headers(${folder} ${header})
    endforeach()
    install(FILES ${ARGN} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vantrelagent/${folder})
endfunction()

# The library's <vantrelagent/export.h>, with the macros that mark what hosts may use.
include(ECMGenerateExportHeader)
set(VANTREL_GENERATED_INCLUDES ${CMAKE_BINARY_DIR}/generated)
function(vantrel_export_header library)
    set(generated ${VANTREL_GENERATED_INCLUDES}/vantrelagent/export.h)
    ecm_generate_export_header(${library}
        BASE_NAME VantrelAgent VERSION ${PROJECT_VERSION} EXPORT_FILE_NAME ${generated})
    file(CREATE_LINK ${generated} ${VANTREL_HOST_INCLUDES}/vantrelagent/export.h SYMBOLIC)
    install(FILES ${generated} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vantrelagent)
endfunction()

# vantrel_class_headers(FOLDER HEADER): a header for each class that HEADER defines.
function(vantrel_class_headers folder header)
    file(STRINGS ${header} definitions REGEX "^class [^;]*$")
    set(prefix VantrelAgent)
    if(folder MATCHES "^host")
        set(prefix Pakmart)
    endif()
    foreach(definition IN LISTS definitions)
        string(REGEX REPLACE "^class ([A-Z_]+_EXPORT )?([A-Za-z]+).*" "\\2" class "${definition}")
        set(named ${VANTREL_HOST_INCLUDES}/${prefix}/${class})
        file(WRITE ${named} "#include <vantrelagent/${folder}/${header}>\n")
        install(FILES ${named} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${prefix})
    endforeach()
endfunction()

# Keeps out of a library's exports what is not its own.
function(vantrel_exports library)
    set(map ${PROJECT_SOURCE_DIR}/cmake/exports.map)
    target_link_options(${library} PRIVATE -Wl,--version-script,${map})
    set_property(TARGET ${library} APPEND PROPERTY LINK_DEPENDS ${map})
endfunction()
