#include "tools/evidence/libzip.h"

#include "tools/evidence/library_functions.h"

namespace vmr::tool {
namespace {

struct Loaded {
  Libzip functions{};
  std::string error;
};

Loaded Load() {
  LibraryFunctions library(VMR_LIBZIP_SONAME, VMR_LIBZIP_PACKAGE);
  Loaded loaded;
  Libzip& zip = loaded.functions;
  library.Find("zip_close", zip.close);
  library.Find("zip_discard", zip.discard);
  library.Find("zip_error_fini", zip.error_fini);
  library.Find("zip_error_init", zip.error_init);
  library.Find("zip_error_set", zip.error_set);
  library.Find("zip_error_strerror", zip.error_strerror);
  library.Find("zip_error_to_data", zip.error_to_data);
  library.Find("zip_fclose", zip.fclose);
  library.Find("zip_file_add", zip.file_add);
  library.Find("zip_file_get_external_attributes", zip.file_get_external_attributes);
  library.Find("zip_file_set_dostime", zip.file_set_dostime);
  library.Find("zip_file_set_external_attributes", zip.file_set_external_attributes);
  library.Find("zip_file_strerror", zip.file_strerror);
  library.Find("zip_fopen_index", zip.fopen_index);
  library.Find("zip_fread", zip.fread);
  library.Find("zip_get_name", zip.get_name);
  library.Find("zip_get_num_entries", zip.get_num_entries);
  library.Find("zip_libzip_version", zip.libzip_version);
  library.Find("zip_open_from_source", zip.open_from_source);
  library.Find("zip_set_file_compression", zip.set_file_compression);
  library.Find("zip_source_free", zip.source_free);
  library.Find("zip_source_function_create", zip.source_function_create);
  library.Find("zip_source_seek_compute_offset", zip.source_seek_compute_offset);
  library.Find("zip_stat_index", zip.stat_index);
  library.Find("zip_stat_init", zip.stat_init);
  library.Find("zip_strerror", zip.strerror);
  loaded.error = library.Error();
  return loaded;
}

}  // namespace

const Libzip* LoadLibzip(std::string& error) {
  static const Loaded kLoaded = Load();
  error = kLoaded.error;
  return error.empty() ? &kLoaded.functions : nullptr;
}

}  // namespace vmr::tool
