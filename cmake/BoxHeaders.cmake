# The headers of the box's support library, in one directory or in several.
foreach(header IN ITEMS NSTime.h STBFirmwareUpdater.h STBLogger.h STBWidevineDrm.h)
  set(found FALSE)
  foreach(directory IN LISTS ZELO_STB_INCLUDE_DIR)
    if(EXISTS "${directory}/${header}")
      set(found TRUE)
    endif()
  endforeach()
  if(NOT found)
    message(FATAL_ERROR "ZELO_STB_INCLUDE_DIR has no ${header}: looked in ${ZELO_STB_INCLUDE_DIR}. If the box's header "
            "has another name, docs/integration.md shows a shim.")
  endif()
endforeach()
