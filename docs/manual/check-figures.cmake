# Each figure of the manual has a number and is spoken of. Where the pictures have been
# taken, each of them is shown, each that is shown is there, and all have one scale.
#
# cmake -DCHAPTERS=... -DPICTURES=... [-DREQUIRED=ON] -P check-figures.cmake
#
#   PICTURES   the folder of the pictures; need not exist unless they are required

cmake_minimum_required(VERSION 3.21)

file(GLOB chapters "${CHAPTERS}/*.adoc")
set(manual "")
foreach(chapter IN LISTS chapters)
  file(READ "${chapter}" content)
  string(APPEND manual "${content}")
endforeach()
# CMake keeps what stands in brackets together in its lists; none must be left.
string(REGEX REPLACE "[][;]" "!" manual "${manual}")

set(failures "")
string(REGEX MATCHALL "\nimage::[^!]+" images "${manual}")
string(REGEX MATCHALL "\n!#fig-[a-z-]+!\n\\.[^\n]+\nimage::[^!]+" figures "${manual}")
list(LENGTH images image_count)
list(LENGTH figures figure_count)
if(figure_count EQUAL 0 OR NOT figure_count EQUAL image_count)
  list(APPEND failures "of ${image_count} images, ${figure_count} have an id and a title")
endif()

foreach(figure IN LISTS figures)
  string(REGEX MATCH "fig-[a-z-]+" id "${figure}")
  string(FIND "${manual}" "<<${id}>>" position)
  if(position EQUAL -1)
    list(APPEND failures "no sentence speaks of ${id}")
  endif()
endforeach()

if(REQUIRED OR EXISTS "${PICTURES}")
  file(GLOB made RELATIVE "${PICTURES}" "${PICTURES}/*.png")
  string(REGEX MATCHALL "image::{pictures}/[a-z-]+\\.png!pdfwidth={[a-z-]+-width}!" shown "${manual}")
  string(REGEX REPLACE "image::{pictures}/([a-z-]+)\\.png!pdfwidth={([a-z-]+)-width}!" "\\1=\\2"
         shown "${shown}")
  foreach(picture IN LISTS made)
    string(REPLACE ".png" "" picture "${picture}")
    if(NOT "${picture}=${picture}" IN_LIST shown)
      list(APPEND failures "${picture}.png is made, but not shown in its own width")
    endif()
  endforeach()
  string(REGEX MATCHALL "image::{pictures}/[a-z-]+\\.png" used "${manual}")
  foreach(picture IN LISTS used)
    string(REPLACE "image::{pictures}/" "" picture "${picture}")
    if(NOT picture IN_LIST made)
      list(APPEND failures "${picture} is shown, but not made")
    endif()
  endforeach()
endif()

if(failures)
  list(JOIN failures "\n" failures)
  message(FATAL_ERROR "${failures}")
endif()
