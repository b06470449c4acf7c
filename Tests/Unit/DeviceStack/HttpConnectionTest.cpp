#include "HttpConnection.h"

#include <gtest/gtest.h>

namespace {

using LocalDevice::IsLocalOrigin;

TEST(HttpConnectionTest, PagesOfTheLocalHostAreLocal) {
    for (const char* origin : {"http://localhost", "https://localhost", "http://localhost:8080", "http://127.0.0.1",
                               "http://127.0.0.1:7580", "http://[::1]", "http://[::1]:7580"}) {
        EXPECT_TRUE(IsLocalOrigin(origin)) << origin;
    }
}

TEST(HttpConnectionTest, AllOtherPagesAreNot) {
    for (const char* origin :
         {"", "null", "localhost", "http://", "http://example.org", "http://localhost.example.org",
          "http://127.0.0.1.example.org", "http://127.0.0.2.1", "http://example.org/http://localhost",
          "http://localhost@example.org", "file://", "http://[::1", "://::1"}) {
        EXPECT_FALSE(IsLocalOrigin(origin)) << origin;
    }
}

}  // namespace
