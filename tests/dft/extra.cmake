# Stand-ins for FFTW (tests/dft/stub/fake_fftw.c) and the loader tests that use
# them (tests/dft/loader): FFTW present, absent and incomplete, tested the same
# way whatever the machine has installed. The fakes carry the real file names
# in folders of their own; the loader test binary routes the library's dlopen
# calls to them.
set(MORVEX_FAKE_FFTW_DIR ${CMAKE_CURRENT_BINARY_DIR}/fake-fftw)
foreach(kind complete incomplete)
  foreach(prec d f)
    set(target fake-fftw-${prec}-${kind})
    add_library(${target} SHARED ${CMAKE_CURRENT_SOURCE_DIR}/dft/stub/fake_fftw.c)
    if(prec STREQUAL "f")
      target_compile_definitions(${target} PRIVATE FAKE_SINGLE)
      set(file fftw3f)
    else()
      set(file fftw3)
    endif()
    if(kind STREQUAL "incomplete")
      target_compile_definitions(${target} PRIVATE FAKE_OMIT_DESTROY)
    endif()
    target_compile_options(${target} PRIVATE -fvisibility=hidden)
    target_link_libraries(${target} PRIVATE m)
    # No SONAME: the dynamic loader must know the fakes by their paths only,
    # never confuse them with a real libfftw3.so.3 of the same process.
    set_target_properties(${target} PROPERTIES
      OUTPUT_NAME ${file} PREFIX lib SUFFIX .so.3 NO_SONAME ON C_STANDARD 11
      LIBRARY_OUTPUT_DIRECTORY ${MORVEX_FAKE_FFTW_DIR}/${kind})
  endforeach()
endforeach()

file(GLOB MORVEX_DFT_LOADER_TESTS CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/dft/loader/*.cpp)
add_executable(test_dft_loader ${MORVEX_DFT_LOADER_TESTS})
target_link_libraries(test_dft_loader PRIVATE morvex-test-common ${CMAKE_DL_LIBS})
target_include_directories(test_dft_loader PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/dft)
target_compile_definitions(test_dft_loader PRIVATE
  FAKE_FFTW3=\"$<TARGET_FILE:fake-fftw-d-complete>\"
  FAKE_FFTW3F=\"$<TARGET_FILE:fake-fftw-f-complete>\"
  FAKE_FFTW3_INCOMPLETE=\"$<TARGET_FILE:fake-fftw-d-incomplete>\"
  FAKE_FFTW3F_INCOMPLETE=\"$<TARGET_FILE:fake-fftw-f-incomplete>\")
add_dependencies(test_dft_loader fake-fftw-d-complete fake-fftw-f-complete fake-fftw-d-incomplete
                 fake-fftw-f-incomplete)
gtest_discover_tests(test_dft_loader DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120
                     PROPERTIES LABELS dft TIMEOUT 600)
