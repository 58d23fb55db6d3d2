#include "tools/evidence/libcrypto.h"

#include "tools/evidence/library_functions.h"

namespace vmr::tool {
namespace {

struct Loaded {
  Libcrypto functions{};
  std::string error;
};

Loaded Load() {
  LibraryFunctions library(VMR_LIBCRYPTO_SONAME, VMR_LIBCRYPTO_PACKAGE);
  Loaded loaded;
  Libcrypto& crypto = loaded.functions;
  library.Find("ASN1_INTEGER_get", crypto.ASN1_INTEGER_get);
  library.Find("ASN1_STRING_get0_data", crypto.ASN1_STRING_get0_data);
  library.Find("ASN1_STRING_length", crypto.ASN1_STRING_length);
  library.Find("BIO_free", crypto.BIO_free);
  library.Find("BIO_new", crypto.BIO_new);
  library.Find("BIO_new_mem_buf", crypto.BIO_new_mem_buf);
  library.Find("BIO_read", crypto.BIO_read);
  library.Find("BIO_s_mem", crypto.BIO_s_mem);
  library.Find("d2i_TS_RESP", crypto.d2i_TS_RESP);
  library.Find("ERR_clear_error", crypto.ERR_clear_error);
  library.Find("EVP_aes_256_cbc", crypto.EVP_aes_256_cbc);
  library.Find("EVP_DigestSign", crypto.EVP_DigestSign);
  library.Find("EVP_DigestSignInit", crypto.EVP_DigestSignInit);
  library.Find("EVP_DigestVerify", crypto.EVP_DigestVerify);
  library.Find("EVP_DigestVerifyInit", crypto.EVP_DigestVerifyInit);
  library.Find("EVP_MD_CTX_free", crypto.EVP_MD_CTX_free);
  library.Find("EVP_MD_CTX_new", crypto.EVP_MD_CTX_new);
  library.Find("EVP_PKEY2PKCS8", crypto.EVP_PKEY2PKCS8);
  library.Find("EVP_PKEY_free", crypto.EVP_PKEY_free);
  library.Find("EVP_PKEY_is_a", crypto.EVP_PKEY_is_a);
  library.Find("EVP_PKEY_Q_keygen", crypto.EVP_PKEY_Q_keygen);
  library.Find("i2d_PUBKEY", crypto.i2d_PUBKEY);
  library.Find("i2d_TS_REQ", crypto.i2d_TS_REQ);
  library.Find("OBJ_nid2obj", crypto.OBJ_nid2obj);
  library.Find("OBJ_obj2nid", crypto.OBJ_obj2nid);
  library.Find("PEM_read_bio_PrivateKey", crypto.PEM_read_bio_PrivateKey);
  library.Find("PEM_read_bio_PUBKEY", crypto.PEM_read_bio_PUBKEY);
  library.Find("PEM_write_bio_PKCS8", crypto.PEM_write_bio_PKCS8);
  library.Find("PEM_write_bio_PKCS8PrivateKey", crypto.PEM_write_bio_PKCS8PrivateKey);
  library.Find("PEM_write_bio_PUBKEY", crypto.PEM_write_bio_PUBKEY);
  library.Find("PKCS5_pbe2_set_iv", crypto.PKCS5_pbe2_set_iv);
  library.Find("PKCS8_PRIV_KEY_INFO_free", crypto.PKCS8_PRIV_KEY_INFO_free);
  library.Find("PKCS8_set0_pbe", crypto.PKCS8_set0_pbe);
  library.Find("TS_MSG_IMPRINT_free", crypto.TS_MSG_IMPRINT_free);
  library.Find("TS_MSG_IMPRINT_get_algo", crypto.TS_MSG_IMPRINT_get_algo);
  library.Find("TS_MSG_IMPRINT_get_msg", crypto.TS_MSG_IMPRINT_get_msg);
  library.Find("TS_MSG_IMPRINT_new", crypto.TS_MSG_IMPRINT_new);
  library.Find("TS_MSG_IMPRINT_set_algo", crypto.TS_MSG_IMPRINT_set_algo);
  library.Find("TS_MSG_IMPRINT_set_msg", crypto.TS_MSG_IMPRINT_set_msg);
  library.Find("TS_REQ_free", crypto.TS_REQ_free);
  library.Find("TS_REQ_new", crypto.TS_REQ_new);
  library.Find("TS_REQ_set_cert_req", crypto.TS_REQ_set_cert_req);
  library.Find("TS_REQ_set_msg_imprint", crypto.TS_REQ_set_msg_imprint);
  library.Find("TS_REQ_set_version", crypto.TS_REQ_set_version);
  library.Find("TS_RESP_free", crypto.TS_RESP_free);
  library.Find("TS_RESP_get_status_info", crypto.TS_RESP_get_status_info);
  library.Find("TS_RESP_get_tst_info", crypto.TS_RESP_get_tst_info);
  library.Find("TS_STATUS_INFO_get0_status", crypto.TS_STATUS_INFO_get0_status);
  library.Find("TS_TST_INFO_get_msg_imprint", crypto.TS_TST_INFO_get_msg_imprint);
  library.Find("TS_TST_INFO_get_time", crypto.TS_TST_INFO_get_time);
  library.Find("X509_ALGOR_free", crypto.X509_ALGOR_free);
  library.Find("X509_ALGOR_get0", crypto.X509_ALGOR_get0);
  library.Find("X509_ALGOR_new", crypto.X509_ALGOR_new);
  library.Find("X509_ALGOR_set0", crypto.X509_ALGOR_set0);
  library.Find("X509_SIG_free", crypto.X509_SIG_free);
  loaded.error = library.Error();
  return loaded;
}

}  // namespace

const Libcrypto* LoadLibcrypto(std::string& error) {
  static const Loaded kLoaded = Load();
  error = kLoaded.error;
  return error.empty() ? &kLoaded.functions : nullptr;
}

}  // namespace vmr::tool
