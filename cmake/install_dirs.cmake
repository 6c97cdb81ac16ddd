# Where things are installed, and how they find one another there. An absolute folder within the prefix is taken as one
# relative to it, so that an installed copy can be moved; one outside stays as it is.
include(GNUInstallDirs)
foreach(dir IN ITEMS BINDIR LIBDIR INCLUDEDIR DATADIR LIBEXECDIR MANDIR DOCDIR)
  string(FIND "${CMAKE_INSTALL_${dir}}/" "${CMAKE_INSTALL_PREFIX}/" at)
  if(at EQUAL 0)
    file(RELATIVE_PATH CMAKE_INSTALL_${dir} ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_${dir}})
  endif()
endforeach()

set(TESSARY_PRIVATE_LIBDIR ${CMAKE_INSTALL_LIBDIR}/tessary)

# The run path by which a program in the folder of programs finds the library: none to the linker's own folders.
if(CMAKE_INSTALL_FULL_LIBDIR IN_LIST CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES)
  set(TESSARY_TOOL_RUN_PATH "")
elseif(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
  set(TESSARY_TOOL_RUN_PATH ${CMAKE_INSTALL_LIBDIR})
else()
  file(RELATIVE_PATH bin_to_lib /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
  set(TESSARY_TOOL_RUN_PATH "$ORIGIN/${bin_to_lib}")
endif()
