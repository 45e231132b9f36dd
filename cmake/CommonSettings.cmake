# Compile settings shared by every target of the project.
add_library(zq_common INTERFACE)
target_compile_features(zq_common INTERFACE cxx_std_20)
target_compile_options(zq_common INTERFACE -Wall -Wextra)
target_compile_definitions(zq_common INTERFACE
    QT_NO_URL_CAST_FROM_STRING
    QT_NO_FOREACH
    QT_DISABLE_DEPRECATED_BEFORE=0x060000)

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
