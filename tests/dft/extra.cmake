# SPDX-License-Identifier: MIT
# Stand-ins for FFTW (stub/fake_fftw.c), complete and without their plan
# destroyer, for the loader tests (loader/): FFTW present, absent and
# incomplete, tested the same way whatever the machine has installed. The
# fakes carry the real file names in folders of their own, without SONAME, so
# the dynamic loader knows them by path only; the test routes dlopen to them.
foreach(kind complete incomplete)
  foreach(prec d f)
    set(target fake-fftw-${prec}-${kind})
    add_library(${target} SHARED ${CMAKE_CURRENT_SOURCE_DIR}/dft/stub/fake_fftw.c)
    target_compile_definitions(${target} PRIVATE $<$<STREQUAL:${prec},f>:FAKE_SINGLE> $<$<STREQUAL:${kind},incomplete>:FAKE_OMIT_DESTROY>)
    target_compile_options(${target} PRIVATE -fvisibility=hidden)
    target_link_libraries(${target} PRIVATE m)
    set_target_properties(${target} PROPERTIES OUTPUT_NAME $<IF:$<STREQUAL:${prec},f>,fftw3f,fftw3> PREFIX lib SUFFIX .so.3
      NO_SONAME ON C_STANDARD 11 LIBRARY_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/fake-fftw/${kind})
  endforeach()
endforeach()

add_executable(test_dft_loader ${CMAKE_CURRENT_SOURCE_DIR}/dft/loader/loader_test.cpp)
target_link_libraries(test_dft_loader PRIVATE morvex-test-common ${CMAKE_DL_LIBS})
target_include_directories(test_dft_loader PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/dft)
target_compile_definitions(test_dft_loader PRIVATE
  FAKE_FFTW3=\"$<TARGET_FILE:fake-fftw-d-complete>\" FAKE_FFTW3F=\"$<TARGET_FILE:fake-fftw-f-complete>\"
  FAKE_FFTW3_INCOMPLETE=\"$<TARGET_FILE:fake-fftw-d-incomplete>\" FAKE_FFTW3F_INCOMPLETE=\"$<TARGET_FILE:fake-fftw-f-incomplete>\")
gtest_discover_tests(test_dft_loader DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120 PROPERTIES LABELS dft TIMEOUT 600)
