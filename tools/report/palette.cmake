# The colours of report/palette.json as constants of C++, for drawings on white paper:
# the page has them from the same file. PALETTE_HEADER is where they are.
set(palette_file ${PROJECT_SOURCE_DIR}/report/palette.json)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${palette_file})
set(PALETTE_HEADER ${PROJECT_BINARY_DIR}/generated/tools/report/palette.h)

# palette_constant(OUT speed_ramp): kSpeedRamp
function(palette_constant out name)
  set(constant k)
  string(REPLACE "_" ";" words ${name})
  foreach(word ${words})
    string(SUBSTRING ${word} 0 1 first)
    string(SUBSTRING ${word} 1 -1 rest)
    string(TOUPPER ${first} first)
    string(APPEND constant ${first}${rest})
  endforeach()
  set(${out} ${constant} PARENT_SCOPE)
endfunction()

# palette_colours(OUT JSON NAME): "#0b62a4", or several of them, in quotes
function(palette_colours out json name)
  string(JSON type TYPE "${json}" ${name})
  if(NOT type STREQUAL ARRAY)
    string(JSON colours GET "${json}" ${name})
  else()
    string(JSON count LENGTH "${json}" ${name})
    set(colours "")
    math(EXPR last "${count} - 1")
    foreach(i RANGE ${last})
      string(JSON colour GET "${json}" ${name} ${i})
      list(APPEND colours ${colour})
    endforeach()
  endif()
  foreach(colour ${colours})
    if(NOT colour MATCHES "^#[0-9a-f][0-9a-f][0-9a-f][0-9a-f][0-9a-f][0-9a-f]$")
      message(FATAL_ERROR "${palette_file}: ${name}: ${colour} is no colour such as #0b62a4")
    endif()
  endforeach()
  list(TRANSFORM colours REPLACE ".+" "\"\\0\"")
  list(JOIN colours ", " colours)
  set(${out} "${colours}" PARENT_SCOPE)
endfunction()

function(palette_header)
  file(READ ${palette_file} palette)
  string(JSON light GET "${palette}" light)
  string(JSON count LENGTH "${light}")
  math(EXPR last "${count} - 1")
  set(rows "")
  foreach(i RANGE ${last})
    string(JSON name MEMBER "${light}" ${i})
    string(JSON type TYPE "${light}" ${name})
    palette_constant(constant ${name})
    palette_colours(colours "${light}" ${name})
    if(type STREQUAL ARRAY)
      string(APPEND rows "inline constexpr const char* ${constant}[] = {${colours}};\n")
    else()
      string(APPEND rows "inline constexpr const char* ${constant} = ${colours};\n")
    endif()
  endforeach()
  string(CONFIGURE [[// Made from report/palette.json by tools/report/palette.cmake.
#ifndef VMR_TOOLS_REPORT_PALETTE_H_
#define VMR_TOOLS_REPORT_PALETTE_H_

namespace vmr::tool::palette {

@rows@
}  // namespace vmr::tool::palette

#endif  // VMR_TOOLS_REPORT_PALETTE_H_
]] text @ONLY)
  file(CONFIGURE OUTPUT ${PALETTE_HEADER} CONTENT "${text}" @ONLY)
endfunction()
palette_header()
