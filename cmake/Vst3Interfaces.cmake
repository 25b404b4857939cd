# The official VST3 interface headers, as a system include folder, with the few sources that define interface ids.
if(NOT EXISTS ${VST3_SDK_ROOT}/pluginterfaces/vst/ivstcomponent.h)
  message(FATAL_ERROR "VST3 interface headers not found in ${VST3_SDK_ROOT}: install juce-modules-source-data "
                      "or set -DVST3_SDK_ROOT=...")
endif()
add_library(vst3_interfaces STATIC
  ${VST3_SDK_ROOT}/pluginterfaces/base/coreiids.cpp
  ${VST3_SDK_ROOT}/pluginterfaces/base/funknown.cpp
  ${CMAKE_CURRENT_LIST_DIR}/vst3_interface_ids.cpp)
target_include_directories(vst3_interfaces SYSTEM PUBLIC ${VST3_SDK_ROOT})
target_compile_options(vst3_interfaces PRIVATE -w)
if(WIN32)
  target_link_libraries(vst3_interfaces PUBLIC ole32)
endif()
