// OpenSSL's libcrypto, loaded when there is a key, a signature or a time stamp; see libzip.h.
#ifndef VMR_TOOLS_EVIDENCE_LIBCRYPTO_H_
#define VMR_TOOLS_EVIDENCE_LIBCRYPTO_H_

#include <openssl/asn1.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/ts.h>
#include <openssl/x509.h>

#include <string>

namespace vmr::tool {

// Its functions, under their own names and of the types that its headers declare.
// NOLINTBEGIN(readability-identifier-naming)
struct Libcrypto {
  decltype(&::ASN1_INTEGER_get) ASN1_INTEGER_get;
  decltype(&::ASN1_STRING_get0_data) ASN1_STRING_get0_data;
  decltype(&::ASN1_STRING_length) ASN1_STRING_length;
  decltype(&::BIO_free) BIO_free;
  decltype(&::BIO_new) BIO_new;
  decltype(&::BIO_new_mem_buf) BIO_new_mem_buf;
  decltype(&::BIO_read) BIO_read;
  decltype(&::BIO_s_mem) BIO_s_mem;
  decltype(&::d2i_TS_RESP) d2i_TS_RESP;
  decltype(&::ERR_clear_error) ERR_clear_error;
  decltype(&::EVP_aes_256_cbc) EVP_aes_256_cbc;
  decltype(&::EVP_DigestSign) EVP_DigestSign;
  decltype(&::EVP_DigestSignInit) EVP_DigestSignInit;
  decltype(&::EVP_DigestVerify) EVP_DigestVerify;
  decltype(&::EVP_DigestVerifyInit) EVP_DigestVerifyInit;
  decltype(&::EVP_MD_CTX_free) EVP_MD_CTX_free;
  decltype(&::EVP_MD_CTX_new) EVP_MD_CTX_new;
  decltype(&::EVP_PKEY2PKCS8) EVP_PKEY2PKCS8;
  decltype(&::EVP_PKEY_free) EVP_PKEY_free;
  decltype(&::EVP_PKEY_is_a) EVP_PKEY_is_a;
  decltype(&::EVP_PKEY_Q_keygen) EVP_PKEY_Q_keygen;
  decltype(&::i2d_PUBKEY) i2d_PUBKEY;
  decltype(&::i2d_TS_REQ) i2d_TS_REQ;
  decltype(&::OBJ_nid2obj) OBJ_nid2obj;
  decltype(&::OBJ_obj2nid) OBJ_obj2nid;
  decltype(&::PEM_read_bio_PrivateKey) PEM_read_bio_PrivateKey;
  decltype(&::PEM_read_bio_PUBKEY) PEM_read_bio_PUBKEY;
  decltype(&::PEM_write_bio_PKCS8) PEM_write_bio_PKCS8;
  decltype(&::PEM_write_bio_PKCS8PrivateKey) PEM_write_bio_PKCS8PrivateKey;
  decltype(&::PEM_write_bio_PUBKEY) PEM_write_bio_PUBKEY;
  decltype(&::PKCS5_pbe2_set_iv) PKCS5_pbe2_set_iv;
  decltype(&::PKCS8_PRIV_KEY_INFO_free) PKCS8_PRIV_KEY_INFO_free;
  decltype(&::PKCS8_set0_pbe) PKCS8_set0_pbe;
  decltype(&::TS_MSG_IMPRINT_free) TS_MSG_IMPRINT_free;
  decltype(&::TS_MSG_IMPRINT_get_algo) TS_MSG_IMPRINT_get_algo;
  decltype(&::TS_MSG_IMPRINT_get_msg) TS_MSG_IMPRINT_get_msg;
  decltype(&::TS_MSG_IMPRINT_new) TS_MSG_IMPRINT_new;
  decltype(&::TS_MSG_IMPRINT_set_algo) TS_MSG_IMPRINT_set_algo;
  decltype(&::TS_MSG_IMPRINT_set_msg) TS_MSG_IMPRINT_set_msg;
  decltype(&::TS_REQ_free) TS_REQ_free;
  decltype(&::TS_REQ_new) TS_REQ_new;
  decltype(&::TS_REQ_set_cert_req) TS_REQ_set_cert_req;
  decltype(&::TS_REQ_set_msg_imprint) TS_REQ_set_msg_imprint;
  decltype(&::TS_REQ_set_version) TS_REQ_set_version;
  decltype(&::TS_RESP_free) TS_RESP_free;
  decltype(&::TS_RESP_get_status_info) TS_RESP_get_status_info;
  decltype(&::TS_RESP_get_tst_info) TS_RESP_get_tst_info;
  decltype(&::TS_STATUS_INFO_get0_status) TS_STATUS_INFO_get0_status;
  decltype(&::TS_TST_INFO_get_msg_imprint) TS_TST_INFO_get_msg_imprint;
  decltype(&::TS_TST_INFO_get_time) TS_TST_INFO_get_time;
  decltype(&::X509_ALGOR_free) X509_ALGOR_free;
  decltype(&::X509_ALGOR_get0) X509_ALGOR_get0;
  decltype(&::X509_ALGOR_new) X509_ALGOR_new;
  decltype(&::X509_ALGOR_set0) X509_ALGOR_set0;
  decltype(&::X509_SIG_free) X509_SIG_free;
};
// NOLINTEND(readability-identifier-naming)

// As LoadLibzip.
const Libcrypto* LoadLibcrypto(std::string& error);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_LIBCRYPTO_H_
