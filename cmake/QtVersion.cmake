# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

# Which Qt the agent is built with, and everything of the build that depends on it. The
# default is the Qt of the release's desktop, which its extra-cmake-modules belong to.
if(ECM_VERSION VERSION_LESS 6)
    set(desktop_qt 5)
else()
    set(desktop_qt 6)
endif()
set(QT_MAJOR_VERSION ${desktop_qt} CACHE STRING "Major version of Qt and the KDE Frameworks: 5 or 6")
set_property(CACHE QT_MAJOR_VERSION PROPERTY STRINGS 5 6)

# The oldest versions that the suite runs with.
if(QT_MAJOR_VERSION EQUAL 5)
    set(QT_MIN 5.15)
    set(KF_MIN 5.103)
    set(VANTREL_LIBRARY_SUFFIX "")
    set(VANTREL_ATTRIBUTE_TABLE 0)
elseif(QT_MAJOR_VERSION EQUAL 6)
    set(QT_MIN 6.8)
    set(KF_MIN 6.13)
    # A process can hold one Qt only, so the two libraries have names of their own.
    set(VANTREL_LIBRARY_SUFFIX 6)
    # Bytes that a QDomElement takes once it has an attribute: a table with room for 48.
    set(VANTREL_ATTRIBUTE_TABLE 1552)
else()
    message(FATAL_ERROR "QT_MAJOR_VERSION is 5 or 6, not ${QT_MAJOR_VERSION}")
endif()

# The folder beside the library where it finds its own programs.
set(VANTREL_WORKER_FOLDER vantrelagent${VANTREL_LIBRARY_SUFFIX}-0)
