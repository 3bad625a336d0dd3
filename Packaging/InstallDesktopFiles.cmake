# Run by `cmake --install`, for the files that only programs with windows have. Some name the program's path, which is
# known only now: --prefix may have changed it.
if(NOT EXISTS ${module})
    message(STATUS "The desktop's windows were not built: what belongs to them is left out")
    return()
endif()
# The system's programs are configured in a folder outside of theirs.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    cmake_path(ABSOLUTE_PATH configuration BASE_DIRECTORY /)
endif()
foreach(folder bin data configuration)
    cmake_path(ABSOLUTE_PATH ${folder} BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX})
endforeach()
set(program ${bin}/dovra)
if(program MATCHES "[\"\\\\$`%]")
    message(FATAL_ERROR "A desktop cannot start a program with this path: ${program}")
endif()

configure_file(${templates}/${id}.desktop ${made}/share/applications/${id}.desktop @ONLY)
configure_file(${templates}/${id}.service ${made}/share/dbus-1/services/${id}.service @ONLY)
configure_file(${templates}/${id}.autostart.desktop ${made}/autostart/${id}.desktop @ONLY)
file(INSTALL DESTINATION ${configuration}/xdg/autostart TYPE FILE FILES ${made}/autostart/${id}.desktop)
# One by one: whole folders would bring their permissions along.
file(GLOB_RECURSE files RELATIVE ${made}/share ${made}/share/*)
foreach(file IN LISTS files)
    cmake_path(GET file PARENT_PATH folder)
    file(INSTALL DESTINATION ${data}/${folder} TYPE FILE FILES ${made}/share/${file})
endforeach()
# Tells desktops that what they remember of these icons is out of date.
file(TOUCH_NOCREATE $ENV{DESTDIR}${data}/icons/hicolor)
