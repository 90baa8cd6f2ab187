# Sanitizer build: -DDVH_SANITIZE=ON builds every native piece (library,
# simulator, native tests) with AddressSanitizer and UndefinedBehaviorSanitizer.
#
# Native test programs run under LeakSanitizer (any leak fails them). The JVM
# cannot link the sanitizer runtime, so JVM runs preload it and use options
# that leave the JVM's own signal handling and memory tricks alone
# (DVH_JVM_SANITIZER_ENV). Every sanitizer report fails a test: reports are
# fatal where possible and the report texts are failure patterns
# (DVH_SANITIZER_FAIL_REGEX).
# The first configure also takes it from the environment (DVH_SANITIZE=1), so that
# scripts/setup.sh can make a sanitizer build folder.
set(DVH_SANITIZE_DEFAULT OFF)
if("$ENV{DVH_SANITIZE}" STREQUAL "1")
  set(DVH_SANITIZE_DEFAULT ON)
endif()
option(DVH_SANITIZE "Build with AddressSanitizer and UndefinedBehaviorSanitizer" ${DVH_SANITIZE_DEFAULT})

set(DVH_NATIVE_SANITIZER_ENV)
set(DVH_JVM_SANITIZER_ENV)
set(DVH_SANITIZER_FAIL_REGEX "ERROR: AddressSanitizer|ERROR: LeakSanitizer|runtime error:|SUMMARY: UndefinedBehaviorSanitizer")

if(DVH_SANITIZE)
  set(DVH_SANITIZER_FLAGS -fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_compile_options(${DVH_SANITIZER_FLAGS})
  add_link_options(-fsanitize=address,undefined)

  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libasan.so
                  OUTPUT_VARIABLE DVH_ASAN_LINK OUTPUT_STRIP_TRAILING_WHITESPACE)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libubsan.so
                  OUTPUT_VARIABLE DVH_UBSAN_LINK OUTPUT_STRIP_TRAILING_WHITESPACE)
  file(REAL_PATH "${DVH_ASAN_LINK}" DVH_ASAN_RUNTIME)
  file(REAL_PATH "${DVH_UBSAN_LINK}" DVH_UBSAN_RUNTIME)
  if(NOT EXISTS "${DVH_ASAN_RUNTIME}" OR NOT EXISTS "${DVH_UBSAN_RUNTIME}")
    message(FATAL_ERROR "sanitizer runtimes not found (${DVH_ASAN_LINK}, ${DVH_UBSAN_LINK})")
  endif()

  # The runtime intercepts crypt() and looks the real one up when it starts:
  # libcrypt has to be there by then, not loaded later with the library.
  find_library(DVH_CRYPT_LIBRARY crypt)
  if(NOT DVH_CRYPT_LIBRARY)
    message(FATAL_ERROR "libcrypt not found (Debian package libcrypt-dev)")
  endif()
  file(REAL_PATH "${DVH_CRYPT_LIBRARY}" DVH_CRYPT_RUNTIME)

  set(DVH_UBSAN_OPTIONS "UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1")
  set(DVH_NATIVE_SANITIZER_ENV
      "ASAN_OPTIONS=detect_leaks=1:abort_on_error=0:strict_string_checks=1:detect_stack_use_after_return=1"
      "LSAN_OPTIONS=report_objects=1"
      ${DVH_UBSAN_OPTIONS})
  # The JVM uses SIGSEGV and SIGBUS itself (null checks, stack banging,
  # safepoints), reserves large address ranges and never frees some memory
  # on exit: those stay with the JVM.
  set(DVH_JVM_ASAN_OPTIONS
      "handle_segv=0:handle_sigbus=0:handle_sigill=0:handle_sigfpe=0:allow_user_segv_handler=1:use_sigaltstack=0:detect_leaks=0")
  set(DVH_JVM_SANITIZER_ENV
      "LD_PRELOAD=${DVH_ASAN_RUNTIME}:${DVH_UBSAN_RUNTIME}:${DVH_CRYPT_RUNTIME}"
      "ASAN_OPTIONS=${DVH_JVM_ASAN_OPTIONS}"
      ${DVH_UBSAN_OPTIONS})
endif()
