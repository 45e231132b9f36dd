# Compile settings shared by every target of the project.
add_library(zq_common INTERFACE)
target_compile_features(zq_common INTERFACE cxx_std_20)
target_compile_options(zq_common INTERFACE -Wall -Wextra -pedantic)
target_compile_definitions(zq_common INTERFACE
    QT_NO_URL_CAST_FROM_STRING
    QT_NO_FOREACH
    QT_DISABLE_DEPRECATED_BEFORE=0x060000)
# A library that nothing in a binary uses is not loaded with it.
target_link_options(zq_common INTERFACE -Wl,--as-needed)

# Static libraries are linked into the page modules too.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

option(ZQ_SANITIZE "Build with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
option(ZQ_TSAN "Build with ThreadSanitizer" OFF)
option(ZQ_FUZZ "Build the libFuzzer targets (needs clang)" OFF)
option(ZQ_BUILD_TESTS "Build the tests" ON)
option(ZQ_BUILD_BENCH "Build the benchmarks" ON)
option(ZQ_WERROR "Treat warnings as errors" OFF)

if(ZQ_SANITIZE AND ZQ_TSAN)
    message(FATAL_ERROR "ZQ_SANITIZE and ZQ_TSAN cannot be combined")
endif()
if(ZQ_SANITIZE)
    target_compile_options(zq_common INTERFACE -fsanitize=address,undefined -fno-omit-frame-pointer)
    target_link_options(zq_common INTERFACE -fsanitize=address,undefined)
endif()
if(ZQ_TSAN)
    target_compile_options(zq_common INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
    target_link_options(zq_common INTERFACE -fsanitize=thread)
endif()
if(ZQ_WERROR)
    target_compile_options(zq_common INTERFACE -Werror)
endif()

# The installed tree has the input method's bundle shape:
#   <root>/Contents/Info.plist
#   <root>/Contents/ZQAssistPanel.app/Contents/MacOS/       executables
#   <root>/Contents/ZQAssistPanel.app/Contents/Frameworks/  the project's shared libraries
#   <root>/Contents/ZQAssistPanel.app/Contents/PlugIns/     page modules and the change-log view
#   <root>/Contents/ZQAssistPanel.app/Contents/Resources/   resources read as files
set(ZQ_BUNDLE_CONTENTS "Contents")
set(ZQ_APP_CONTENTS "Contents/ZQAssistPanel.app/Contents")
set(ZQ_APP_BIN_DIR "${ZQ_APP_CONTENTS}/MacOS")
set(ZQ_APP_FRAMEWORKS_DIR "${ZQ_APP_CONTENTS}/Frameworks")
set(ZQ_APP_PLUGINS_DIR "${ZQ_APP_CONTENTS}/PlugIns")
set(ZQ_APP_RESOURCES_DIR "${ZQ_APP_CONTENTS}/Resources")
# Page modules and plug-ins in the build tree, where the build's executables find them.
set(ZQ_BUILD_PLUGINS_DIR "${PROJECT_BINARY_DIR}/PlugIns")

# zq_library(NAME [STATIC] SOURCES...)
# A subsystem library: shared (one copy of every process-wide object, whether
# the application, a tool or a page module uses it), installed among the
# bundle's frameworks; STATIC for code that only one binary links.
function(zq_library name)
    cmake_parse_arguments(L "STATIC" "" "" ${ARGN})
    if(L_STATIC)
        add_library(${name} STATIC ${L_UNPARSED_ARGUMENTS})
    else()
        add_library(${name} SHARED ${L_UNPARSED_ARGUMENTS})
        install(TARGETS ${name} LIBRARY DESTINATION ${ZQ_APP_FRAMEWORKS_DIR})
        # Each library finds the ones it needs beside itself.
        set_target_properties(${name} PROPERTIES INSTALL_RPATH "$ORIGIN")
    endif()
    # libzqcrypto.so, not a second libcrypto.so.
    set_target_properties(${name} PROPERTIES OUTPUT_NAME zq${name})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
    target_link_libraries(${name} PUBLIC zq_common)
endfunction()

# zq_bundle_rpath(TARGET INSTALLED_DIR): the installed binary at INSTALLED_DIR
# (relative to the install prefix) finds the bundle's frameworks.
function(zq_bundle_rpath target installed_dir)
    file(RELATIVE_PATH to_frameworks "/prefix/${installed_dir}" "/prefix/${ZQ_APP_FRAMEWORKS_DIR}")
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${to_frameworks}")
endfunction()

# zq_texts_from(TARGET...): the targets' sources hold user-visible texts
# (the text catalogue is extracted from them, resources/CMakeLists.txt).
function(zq_texts_from)
    set_property(GLOBAL APPEND PROPERTY ZQ_TEXT_TARGETS ${ARGN})
endfunction()

# zq_page_module(NAME SOURCES... LIBS...)
# A page module: the controllers of one page window, loaded by the shell on
# the first request for the page ("<NAME>.so" among the page modules, with
# its controller names in its metadata). It links only what its page needs.
function(zq_page_module name)
    cmake_parse_arguments(M "" "" "SOURCES;LIBS" ${ARGN})
    add_library(${name} MODULE ${M_SOURCES})
    set_target_properties(${name} PROPERTIES
        PREFIX ""
        LIBRARY_OUTPUT_DIRECTORY ${ZQ_BUILD_PLUGINS_DIR}/pages)
    target_link_libraries(${name} PRIVATE zq_common ${M_LIBS})
    install(TARGETS ${name} LIBRARY DESTINATION ${ZQ_APP_PLUGINS_DIR}/pages)
    zq_bundle_rpath(${name} ${ZQ_APP_PLUGINS_DIR}/pages)
    set_property(GLOBAL APPEND PROPERTY ZQ_PAGE_MODULES ${name})
endfunction()
