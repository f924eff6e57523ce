# SPDX-License-Identifier: MIT
# Instruction-set code lives only in files compiled for exactly that set. The
# set is named by the file's suffix:
#   name_sse42.cpp   -msse4.2
#   name_avx.cpp     -mavx
#   name_avx2.cpp    -mavx2 -mfma          (the AVX2 kernels may fuse)
#   name_avx512.cpp  -mavx512f -mavx512cd  (all that their dispatch condition guarantees)
#   name_avx512dq.cpp  the same and -mavx512dq (call-time kernels that test DQ too)
#   name_avx512bw.cpp  the same and -mavx512bw (call-time kernels that test BW too)
# Every other file is built for the plain x86-64 baseline.
function(morvex_apply_isa_flags)
  foreach(src IN LISTS ARGN)
    if(src MATCHES "_sse42\\.cpp$")
      set_source_files_properties(${src} PROPERTIES COMPILE_OPTIONS "-msse4.2")
    elseif(src MATCHES "_avx\\.cpp$")
      set_source_files_properties(${src} PROPERTIES COMPILE_OPTIONS "-mavx")
    elseif(src MATCHES "_avx2\\.cpp$")
      set_source_files_properties(${src} PROPERTIES COMPILE_OPTIONS "-mavx2;-mfma")
    elseif(src MATCHES "_avx512\\.cpp$")
      set_source_files_properties(${src} PROPERTIES COMPILE_OPTIONS "-mavx512f;-mavx512cd")
    elseif(src MATCHES "_avx512dq\\.cpp$")
      set_source_files_properties(${src} PROPERTIES COMPILE_OPTIONS "-mavx512f;-mavx512cd;-mavx512dq")
    elseif(src MATCHES "_avx512bw\\.cpp$")
      set_source_files_properties(${src} PROPERTIES COMPILE_OPTIONS "-mavx512f;-mavx512cd;-mavx512bw")
    endif()
  endforeach()
endfunction()
