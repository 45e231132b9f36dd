# zq_add_test(NAME SOURCES src... LIBS lib... [DBUS] [X11] [TIMEOUT s] [LABELS l...])
#
# Builds a QtTest executable and registers it with CTest. Every test runs
# through tests/isolate.sh, which gives it a fresh HOME, XDG_DATA_HOME, TMPDIR,
# install root and shared-data folder, a fixed locale and time zone, and
# (with DBUS) a private session bus, (with X11) a private X server; without
# X11 the offscreen platform is used.
function(zq_add_test name)
    cmake_parse_arguments(T "DBUS;X11" "TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
    add_executable(${name} ${T_SOURCES})
    target_link_libraries(${name} PRIVATE zq_common Qt6::Test ${T_LIBS})
    target_compile_definitions(${name} PRIVATE
        ZQ_SOURCE_DIR="${PROJECT_SOURCE_DIR}" ZQ_BINARY_DIR="${PROJECT_BINARY_DIR}")
    set(mode "")
    if(T_DBUS)
        list(APPEND mode --dbus)
    endif()
    if(T_X11)
        list(APPEND mode --x11)
    endif()
    add_test(NAME ${name}
             COMMAND ${PROJECT_SOURCE_DIR}/tests/isolate.sh ${mode} -- $<TARGET_FILE:${name}>)
    if(NOT T_TIMEOUT)
        set(T_TIMEOUT 120)
    endif()
    set_tests_properties(${name} PROPERTIES TIMEOUT ${T_TIMEOUT} LABELS "${T_LABELS}")
endfunction()
