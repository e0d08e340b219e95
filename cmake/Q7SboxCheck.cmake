# Checks a substitution rows file before the build compiles it, so that a damaged file stops
# the configuration with one message naming its line, instead of failing deep in the compiler
# or building silently into a weaker cipher.
#
# A rows file holds eight lines "static unsigned char const kN[16] = {  v, ... };", N from 1 to
# 8 in any order, each row a permutation of 0 to 15; blank lines and // comments may stand
# between them. Included, it defines q7_check_sbox_file(path); run as a script
# (cmake -DQ7_SBOX_FILE=path -P Q7SboxCheck.cmake) it checks that one file.

cmake_policy(SET CMP0057 NEW)  # if(... IN_LIST ...), also in script mode

function(q7_sbox_fail path line what)
  message(FATAL_ERROR "Q7_SBOX_FILE '${path}' line ${line}: ${what}")
endfunction()

# Checks the sixteen values of row `row` on line `line`.
function(q7_check_sbox_row path line row values)
  string(REPLACE "," ";" values "${values}")
  list(LENGTH values count)
  if(NOT count EQUAL 16)
    q7_sbox_fail("${path}" ${line} "row k${row} has ${count} values, not 16")
  endif()
  set(seen)
  foreach(value IN LISTS values)
    string(STRIP "${value}" value)
    if(NOT value MATCHES "^[0-9]+$")
      q7_sbox_fail("${path}" ${line} "row k${row}: '${value}' is not a number from 0 to 15")
    endif()
    if(value GREATER 15)
      q7_sbox_fail("${path}" ${line} "row k${row}: ${value} is above 15")
    endif()
    math(EXPR value "${value}")  # "07" and "7" are the same value
    if(value IN_LIST seen)
      q7_sbox_fail("${path}" ${line}
        "row k${row}: ${value} appears twice, so the row is not a permutation of 0 to 15")
    endif()
    list(APPEND seen ${value})
  endforeach()
endfunction()

function(q7_check_sbox_file path)
  file(STRINGS "${path}" lines)
  set(number 0)
  set(rows)
  foreach(text IN LISTS lines)
    math(EXPR number "${number} + 1")
    if(text MATCHES "^[ \t]*$" OR text MATCHES "^[ \t]*//")
      continue()
    endif()
    if(NOT text MATCHES
       "^[ \t]*static[ \t]+unsigned[ \t]+char[ \t]+const[ \t]+k([0-9]+)[ \t]*\\[16\\][ \t]*=[ \t]*{([^}]*)}[ \t]*;[ \t]*$")
      q7_sbox_fail("${path}" ${number} "not a row 'static unsigned char const kN[16] = { ... };'")
    endif()
    set(row ${CMAKE_MATCH_1})
    set(values "${CMAKE_MATCH_2}")
    if(row LESS 1 OR row GREATER 8)
      q7_sbox_fail("${path}" ${number} "k${row} is not one of the rows k1 to k8")
    endif()
    if(row IN_LIST rows)
      q7_sbox_fail("${path}" ${number} "row k${row} is given a second time")
    endif()
    list(APPEND rows ${row})
    q7_check_sbox_row("${path}" ${number} ${row} "${values}")
  endforeach()
  foreach(row RANGE 1 8)
    if(NOT row IN_LIST rows)
      math(EXPR after "${number} + 1")
      q7_sbox_fail("${path}" ${after} "row k${row} is missing (the file ends at line ${number})")
    endif()
  endforeach()
endfunction()

if(CMAKE_SCRIPT_MODE_FILE AND DEFINED Q7_SBOX_FILE)
  q7_check_sbox_file("${Q7_SBOX_FILE}")
endif()
