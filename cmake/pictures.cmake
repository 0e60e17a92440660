# SPDX-License-Identifier: MIT
# The icons and bitmaps of the Windows program, made from the drawings in resources/pictures.
# Target: pictures. Files: ${QUILLBEAKER_PICTURES_DIR}/*.ico and *.bmp, all of them in ${QUILLBEAKER_PICTURES},
# which the resource script's object has to depend on (OBJECT_DEPENDS).
find_package(Python3 REQUIRED COMPONENTS Interpreter)
find_program(RSVG_CONVERT rsvg-convert)
if(NOT RSVG_CONVERT)
  message(FATAL_ERROR "rsvg-convert, which draws the icons, is missing: the package librsvg2-bin")
endif()

set(QUILLBEAKER_PICTURES_DIR ${CMAKE_BINARY_DIR}/pictures)
set(QUILLBEAKER_PICTURES "")
set(pictures_drawings ${PROJECT_SOURCE_DIR}/resources/pictures)
set(pictures_tools ${PROJECT_SOURCE_DIR}/tools/pictures)
file(MAKE_DIRECTORY ${QUILLBEAKER_PICTURES_DIR})

# _picture(OUTPUT ARGUMENTS DRAWINGS): one call of draw.py, made again when a drawing or the tool changes.
function(_picture output arguments drawings)
  add_custom_command(OUTPUT ${QUILLBEAKER_PICTURES_DIR}/${output}
    COMMAND ${Python3_EXECUTABLE} -B ${pictures_tools}/draw.py ${arguments}
    DEPENDS ${drawings} ${pictures_tools}/draw.py ${pictures_tools}/pixels.py
    WORKING_DIRECTORY ${pictures_drawings}
    COMMENT "Drawing ${output}" VERBATIM)
  set(QUILLBEAKER_PICTURES ${QUILLBEAKER_PICTURES} ${QUILLBEAKER_PICTURES_DIR}/${output} PARENT_SCOPE)
endfunction()

# _icon(NAME STYLE SIZE=DRAWING...): STYLE is a style sheet of resources/pictures or "".
macro(_icon name style)
  set(icon_arguments icon ${QUILLBEAKER_PICTURES_DIR}/${name}.ico)
  set(icon_drawings "")
  if(NOT "${style}" STREQUAL "")
    list(APPEND icon_arguments --style ${style})
    list(APPEND icon_drawings ${pictures_drawings}/${style})
  endif()
  foreach(pair ${ARGN})
    string(REGEX REPLACE "^.*=" "" drawing ${pair})
    list(APPEND icon_drawings ${pictures_drawings}/${drawing})
  endforeach()
  _picture(${name}.ico "${icon_arguments};${ARGN}" "${icon_drawings}")
endmacro()

# _strip(NAME SIZE MASK DRAWING...): a bitmap with the drawings side by side; MASK is RRGGBB, or "" for alpha.
macro(_strip name size mask)
  set(strip_arguments strip ${QUILLBEAKER_PICTURES_DIR}/${name}.bmp --size ${size})
  if(NOT "${mask}" STREQUAL "")
    list(APPEND strip_arguments --mask ${mask})
  endif()
  set(strip_drawings "")
  foreach(drawing ${ARGN})
    list(APPEND strip_arguments ${drawing}.svg)
    list(APPEND strip_drawings ${pictures_drawings}/${drawing}.svg)
  endforeach()
  _picture(${name}.bmp "${strip_arguments}" "${strip_drawings}")
endmacro()

set(program_drawings 16=program_16.svg 20=program_20.svg 24=program_24.svg 32=program_32.svg
  40=program.svg 48=program.svg 64=program.svg 256=program.svg)
_icon(program "" ${program_drawings})
foreach(frame 0 1 2 3)
  _icon(session_${frame} session_${frame}.css ${program_drawings})
endforeach()
foreach(mark mark_spam mark_good)
  _icon(${mark} "" 16=${mark}.svg 20=${mark}.svg 24=${mark}.svg 32=${mark}.svg
    40=${mark}.svg 48=${mark}.svg 64=${mark}.svg 256=${mark}.svg)
endforeach()

# In the order of the toolbars' buttons.
set(mask_colour fc02fc)
set(recycle_drawings tool_empty tool_view tool_delete tool_restore tool_help)
set(training_drawings tool_view tool_delete tool_good tool_spam tool_learn tool_help)
_strip(recycle_toolbar 32 ${mask_colour} ${recycle_drawings})
_strip(training_toolbar 32 ${mask_colour} ${training_drawings})
# From "very low" to "very high".
set(level_drawings level_1 level_2 level_3 level_4 level_5)
# In the order of the settings pages.
set(tree_drawings tree_general tree_tray tree_connection tree_filter tree_training
  tree_aggressiveness tree_words tree_senders tree_blocked tree_friends)
_strip(levels 32 "" ${level_drawings})
_strip(settings_tree 16 "" ${tree_drawings})
# For screens of 150, 200 and 300 percent.
_strip(recycle_toolbar_150 48 "" ${recycle_drawings})
_strip(recycle_toolbar_200 64 "" ${recycle_drawings})
_strip(recycle_toolbar_300 96 "" ${recycle_drawings})
_strip(training_toolbar_150 48 "" ${training_drawings})
_strip(training_toolbar_200 64 "" ${training_drawings})
_strip(training_toolbar_300 96 "" ${training_drawings})
_strip(levels_150 48 "" ${level_drawings})
_strip(levels_200 64 "" ${level_drawings})
_strip(levels_300 96 "" ${level_drawings})
_strip(settings_tree_150 24 "" ${tree_drawings})
_strip(settings_tree_200 32 "" ${tree_drawings})
_strip(settings_tree_300 48 "" ${tree_drawings})
_strip(restored 16 "" restored)
_strip(restored_150 24 "" restored)
_strip(restored_200 32 "" restored)
_strip(restored_300 48 "" restored)

add_custom_target(pictures ALL DEPENDS ${QUILLBEAKER_PICTURES})
