// libzip, loaded when there is a bag to write or to look at.
//
// Not linked, nor is libcrypto, which it brings: loaded at the start of every command they
// would make `vmr --help` two fifths slower (docs/performance.md), and few commands use them.
#ifndef VMR_TOOLS_EVIDENCE_LIBZIP_H_
#define VMR_TOOLS_EVIDENCE_LIBZIP_H_

#include <zip.h>

#include <string>

namespace vmr::tool {

// Its functions, which have the types that zip.h declares.
struct Libzip {
  decltype(&::zip_close) close;
  decltype(&::zip_discard) discard;
  decltype(&::zip_error_fini) error_fini;
  decltype(&::zip_error_init) error_init;
  decltype(&::zip_error_set) error_set;
  decltype(&::zip_error_strerror) error_strerror;
  decltype(&::zip_error_to_data) error_to_data;
  decltype(&::zip_fclose) fclose;
  decltype(&::zip_file_add) file_add;
  decltype(&::zip_file_get_external_attributes) file_get_external_attributes;
  decltype(&::zip_file_set_dostime) file_set_dostime;
  decltype(&::zip_file_set_external_attributes) file_set_external_attributes;
  decltype(&::zip_file_strerror) file_strerror;
  decltype(&::zip_fopen_index) fopen_index;
  decltype(&::zip_fread) fread;
  decltype(&::zip_get_name) get_name;
  decltype(&::zip_get_num_entries) get_num_entries;
  decltype(&::zip_libzip_version) libzip_version;
  decltype(&::zip_open_from_source) open_from_source;
  decltype(&::zip_set_file_compression) set_file_compression;
  decltype(&::zip_source_free) source_free;
  decltype(&::zip_source_function_create) source_function_create;
  decltype(&::zip_source_seek_compute_offset) source_seek_compute_offset;
  decltype(&::zip_stat_index) stat_index;
  decltype(&::zip_stat_init) stat_init;
  decltype(&::zip_strerror) strerror;
};

// Looked for once, where the system looks for libraries; stays loaded to the process's end.
// Null, and in `error` why and what to do, when it or one of its functions is not there.
const Libzip* LoadLibzip(std::string& error);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_LIBZIP_H_
