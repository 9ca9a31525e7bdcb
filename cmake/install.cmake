# What `cmake --install` and cpack put beside the two executables: the links
# that `tav_tool -i` and `tav_factory -i` would make, the manual pages and the
# bash completion. The link names are read from the tables themselves, so a
# new row is installed without anyone remembering to list it here.
include(GNUInstallDirs)

# Names of the rows of a table, in table order: the first quoted word of each
# "{"name", flag, function, ..." line between the table's opening line and its
# terminating row. SKIP_UNRUNNABLE leaves out rows with a zero flag or no
# function, as `tav_factory -i` does.
function(tav_table_names source table out)
  cmake_parse_arguments(PARSE_ARGV 3 arg "SKIP_UNRUNNABLE" "" "")
  file(STRINGS ${source} lines)
  set(inside FALSE)
  set(names)
  foreach(line IN LISTS lines)
    if(line MATCHES "^const [A-Za-z]+ ${table}\\[\\] = {")
      set(inside TRUE)
    elseif(inside AND line MATCHES "^    {nullptr")
      break()
    elseif(inside AND line MATCHES "^    {\"([^\"]+)\", *([^,]+), *([^,]+),")
      if(NOT arg_SKIP_UNRUNNABLE OR NOT (CMAKE_MATCH_2 STREQUAL "0" OR CMAKE_MATCH_3 STREQUAL "nullptr"))
        list(APPEND names ${CMAKE_MATCH_1})
      endif()
    endif()
  endforeach()
  if(NOT names)
    message(FATAL_ERROR "no rows of ${table} found in ${source}")
  endif()
  set(${out} ${names} PARENT_SCOPE)
endfunction()

tav_table_names(${PROJECT_SOURCE_DIR}/src/tools/front.cc kBoardTools TAV_TOOL_LINKS)
tav_table_names(${PROJECT_SOURCE_DIR}/src/factory/items.cc kFactoryItems TAV_FACTORY_LINKS SKIP_UNRUNNABLE)

# The links are made in the build tree and installed as links, so DESTDIR,
# any prefix and cpack all get the same relative "himd -> tav_tool".
set(TAV_LINK_DIR ${CMAKE_BINARY_DIR}/links)
set(TAV_COMPLETION_DIR ${CMAKE_BINARY_DIR}/completions)
file(REMOVE_RECURSE ${TAV_LINK_DIR} ${TAV_COMPLETION_DIR})
file(MAKE_DIRECTORY ${TAV_LINK_DIR} ${TAV_COMPLETION_DIR})
set(TAV_LINK_LIST ${CMAKE_BINARY_DIR}/install_links.txt)
set(list_text "")
set(links)
# One completion script, the names filled in from the tables; every other
# command name is a link to it.
string(REPLACE ";" "\n" TAV_TOOL_NAMES "${TAV_TOOL_LINKS}")
string(REPLACE ";" "\n" TAV_ITEM_NAMES "${TAV_FACTORY_LINKS}")
set(TAV_COMPLETION ${TAV_COMPLETION_DIR}/tav_factory)
configure_file(completion/tav_factory.in ${TAV_COMPLETION} @ONLY)
set(completions ${TAV_COMPLETION})
foreach(program tav_tool tav_factory)
  string(TOUPPER ${program} upper)
  foreach(name IN LISTS ${upper}_LINKS)
    file(CREATE_LINK ${program} ${TAV_LINK_DIR}/${name} SYMBOLIC)
    file(CREATE_LINK tav_factory ${TAV_COMPLETION_DIR}/${name} SYMBOLIC)
    list(APPEND links ${TAV_LINK_DIR}/${name})
    list(APPEND completions ${TAV_COMPLETION_DIR}/${name})
    string(APPEND list_text "${program} ${name}\n")
  endforeach()
endforeach()
file(CREATE_LINK tav_factory ${TAV_COMPLETION_DIR}/tav_tool SYMBOLIC)
list(APPEND completions ${TAV_COMPLETION_DIR}/tav_tool)
file(WRITE ${TAV_LINK_LIST} "${list_text}")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/src/tools/front.cc ${PROJECT_SOURCE_DIR}/src/factory/items.cc)

install(TARGETS tav_tool tav_factory RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${links} DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES doc/tav_tool.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES doc/tav_factory.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8)
# bash-completion loads a command's completion from a file named after it.
install(FILES ${completions} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
