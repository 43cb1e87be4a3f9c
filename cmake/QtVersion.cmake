# Which Qt everything is built with, and what bears its number. The names for Qt 5 have none: they are older than the
# choice. A project that adds this one decides with its own QT_VERSION_MAJOR.
if(PROJECT_IS_TOP_LEVEL)
    set(QT_VERSION_MAJOR 5 CACHE STRING "The Qt to build with: 5 or 6")
    set_property(CACHE QT_VERSION_MAJOR PROPERTY STRINGS 5 6)
elseif(NOT QT_VERSION_MAJOR)
    set(QT_VERSION_MAJOR 5) # not in the cache, where it would choose for the project above
endif()

set(SOFTWAREUPDATE_QT_COMPONENTS Core Network Xml Gui Widgets)
if(QT_VERSION_MAJOR EQUAL 5)
    set(SOFTWAREUPDATE_QT_MINIMUM 5.15)
    set(SOFTWAREUPDATE_QT_SUFFIX "")
    set(SOFTWAREUPDATE_PROGRAM_SUFFIX "")
    set(SOFTWAREUPDATE_QT_COMPAT "")
elseif(QT_VERSION_MAJOR EQUAL 6)
    set(SOFTWAREUPDATE_QT_MINIMUM 6.4)
    set(SOFTWAREUPDATE_QT_SUFFIX Qt6)
    set(SOFTWAREUPDATE_PROGRAM_SUFFIX -qt6)
    # Has QRegExp, which is published, and the reader that decides what a valid document is.
    set(SOFTWAREUPDATE_QT_COMPAT Qt6::Core5Compat)
    list(APPEND SOFTWAREUPDATE_QT_COMPONENTS Core5Compat)
else()
    message(FATAL_ERROR "QT_VERSION_MAJOR is '${QT_VERSION_MAJOR}'; it may be 5 or 6")
endif()
list(TRANSFORM SOFTWAREUPDATE_QT_COMPONENTS PREPEND "Qt${QT_VERSION_MAJOR}::" OUTPUT_VARIABLE SOFTWAREUPDATE_QT_TARGETS)
# Of the library's file, the package that hosts find, and the folders of both: they can be installed side by side.
set(SOFTWAREUPDATE_PACKAGE "SoftwareUpdateClient${SOFTWAREUPDATE_QT_SUFFIX}")

find_package(Qt${QT_VERSION_MAJOR} ${SOFTWAREUPDATE_QT_MINIMUM} REQUIRED COMPONENTS ${SOFTWAREUPDATE_QT_COMPONENTS})
