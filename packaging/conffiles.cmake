# Run by cpack once the package's files are staged: every file the package
# puts under /etc is a conffile, so that an upgrade keeps the administrator's
# changes to it and purge removes it. Without such files the package has no
# conffiles list at all (an empty one is a fault of its own).
file(GLOB_RECURSE zr_etc_files LIST_DIRECTORIES false "${CPACK_TEMPORARY_DIRECTORY}/*/etc/*")
if(NOT zr_etc_files)
  list(REMOVE_ITEM CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA "${CPACK_ZR_CONFFILES}")
  return()
endif()
set(zr_conffiles "")
foreach(file IN LISTS zr_etc_files)
  string(REGEX REPLACE "^.*(/etc/.*)$" "\\1" conffile "${file}")
  string(APPEND zr_conffiles "${conffile}\n")
endforeach()
file(WRITE "${CPACK_ZR_CONFFILES}" "${zr_conffiles}")
