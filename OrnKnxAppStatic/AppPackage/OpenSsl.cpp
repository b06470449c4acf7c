#include "OpenSsl.h"

#include <openssl/err.h>

#include <array>

namespace Zandrel {

DigestPointer GetSha256() {
    return DigestPointer(EVP_MD_fetch(nullptr, "SHA256", nullptr));
}

std::string GetLastOpenSslError() {
    std::array<char, 256> text{};
    ERR_error_string_n(ERR_peek_last_error(), text.data(), text.size());
    return text.data();
}

CleanErrorQueue::CleanErrorQueue() {
    ERR_clear_error();
}

CleanErrorQueue::~CleanErrorQueue() {
    ERR_clear_error();
}

int RefusePassword(char* /*buffer*/, int /*size*/, int /*isWriting*/, void* /*data*/) {
    return -1;
}

}  // namespace Zandrel
