# SPDX-License-Identifier: MIT
# Standard headers compiled once instead of with every source. Only to build sooner: every source still names
# what it uses, which the preset `native` holds by going without.
option(QUILLBEAKER_PRECOMPILE "Compile the standard headers once" OFF)

set(QUILLBEAKER_STANDARD_HEADERS
  <algorithm> <array> <atomic> <chrono> <cstddef> <cstdint> <functional> <map> <memory> <mutex> <optional> <span>
  <string> <string_view> <system_error> <thread> <unordered_map> <utility> <vector>)

# -fpch-preprocess is what ccache needs to see them. GCC 12 forgets with them which code is the standard
# library's own, and warns of its copies and searches.
set(QUILLBEAKER_PRECOMPILED_FLAGS $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess$<SEMICOLON>-Wno-stringop-overread$<SEMICOLON>-Wno-array-bounds>)

# precompile_headers(TARGET HEADER...): for a target whose flags others may have, too.
function(precompile_headers target)
  if(QUILLBEAKER_PRECOMPILE)
    target_precompile_headers(${target} PRIVATE ${ARGN})
    target_compile_options(${target} PRIVATE ${QUILLBEAKER_PRECOMPILED_FLAGS})
  endif()
endfunction()

# share_precompiled_headers(FROM TARGET...): TARGETs take those of FROM, whose flags they have.
function(share_precompiled_headers from)
  if(QUILLBEAKER_PRECOMPILE)
    foreach(target IN LISTS ARGN)
      target_precompile_headers(${target} REUSE_FROM ${from})
      target_compile_options(${target} PRIVATE ${QUILLBEAKER_PRECOMPILED_FLAGS})
    endforeach()
  endif()
endfunction()
