# Whoever looks a whole ring over reads 256 MB. For fuzzing, what knows how many
# clusters a ring has is built once more, with headers that say less.
set(small_include ${CMAKE_CURRENT_BINARY_DIR}/small_ring)

# small_ring_header(HEADER IS INSTEAD): a copy with another number in it.
function(small_ring_header header is instead)
  set(real_header ${PROJECT_SOURCE_DIR}/${header})
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${real_header})
  file(READ ${real_header} real_text)
  string(REPLACE "${is};" "${instead};" small_text "${real_text}")
  if(small_text STREQUAL real_text)
    message(FATAL_ERROR "${header} does not say ${is}")
  endif()
  file(GENERATE OUTPUT ${small_include}/${header} CONTENT "${small_text}")
endfunction()
small_ring_header(backends/cluster_format.h "kClusterCount = 32768" "kClusterCount = 8")
small_ring_header(records/cluster_reader.h "kClustersAtOnce = 32" "kClustersAtOnce = 4")
small_ring_header(tools/ring/cluster_file.h "kClustersAtOnce = 64" "kClustersAtOnce = 4")

set(small_ring_sources ${vmr_fuzz_ring_sources})
foreach(library backends reader records tool_common tool_ring)
  get_target_property(folder vmr_${library} SOURCE_DIR)
  get_target_property(folder_sources vmr_${library} SOURCES)
  list(TRANSFORM folder_sources PREPEND ${folder}/)
  list(APPEND small_ring_sources ${folder_sources})
endforeach()

find_package(fmt CONFIG REQUIRED)
find_package(nlohmann_json CONFIG REQUIRED)
add_library(vmr_fuzz_small_ring STATIC ${small_ring_sources})
if(NOT VMR_BUILD_FUZZ)
  vmr_compile_quickly(vmr_fuzz_small_ring)  # runs through the corpus once
endif()
target_include_directories(vmr_fuzz_small_ring BEFORE PUBLIC ${small_include})
target_link_libraries(vmr_fuzz_small_ring PUBLIC
  vmr_fuzz_support vmr_store fmt::fmt nlohmann_json::nlohmann_json)
