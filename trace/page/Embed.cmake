# SPDX-License-Identifier: Apache-2.0
# Makes one C++ source of the page's files (FILES, a list) and writes it to OUTPUT.
set(frame "")
set(style "")
set(script "")
foreach(file ${FILES})
  file(READ "${file}" text)
  if(file MATCHES "\\.html$")
    string(APPEND frame "${text}")
  elseif(file MATCHES "\\.css$")
    string(APPEND style "${text}")
  else()
    # One module has all names of the others: nothing is imported, and nothing leaves it.
    string(REGEX REPLACE "import {[^}]*} from '[^']*'\\;\n" "" text "${text}")
    string(REGEX REPLACE "(^|\n)export " "\\1" text "${text}")
    string(APPEND script "${text}")
  endif()
endforeach()

# Bytes, since a text literal has a longest length that compilers need not exceed.
function(add_array name text)
  string(HEX "${text}" digits)
  string(REGEX REPLACE "(................................................................)" "\\1\n    " digits "${digits}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," digits "${digits}")
  string(LENGTH "${text}" length)
  set(source
      "${source}constexpr char ${name}Bytes[] = {\n    ${digits}'\\0'};\n"
      PARENT_SCOPE)
endfunction()

set(source "// Made from the files of trace/page.\n#include \"trace/Html.h\"\n\nnamespace Trace {\n\nnamespace {\n\n")
add_array(Frame "${frame}")
add_array(Style "${style}")
add_array(Script "${script}")
string(APPEND source "\n}  // namespace\n\n")
foreach(name Frame Style Script)
  string(APPEND source "const std::string_view Page${name}(${name}Bytes, sizeof ${name}Bytes - 1);\n")
endforeach()
string(APPEND source "\n}  // namespace Trace\n")
file(WRITE "${OUTPUT}" "${source}")
