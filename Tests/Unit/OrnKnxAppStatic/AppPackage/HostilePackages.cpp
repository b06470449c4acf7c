#include "HostilePackages.h"

#include <openssl/obj_mac.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <cstring>
#include <utility>

#include "FileHasher.h"

namespace {

namespace filesystem = boost::filesystem;
using TestSupport::AppPackage;
using TestSupport::CertificateText;
using TestSupport::FileElement;
using TestSupport::FileListOf;
using TestSupport::GetDeveloper;
using TestSupport::Key;
using TestSupport::MakeCertificate;
using TestSupport::MakeDeveloper;
using TestSupport::MakeEcKey;
using TestSupport::Sha256Of;
using TestSupport::Signer;
using TestSupport::ToPem;
using TestSupport::WriteFile;
using Packages = std::vector<HostilePackage>;
using Make = std::function<void(const AppPackage&)>;

constexpr const char* List = "appfiles.xml";
constexpr const char* Signature = "appfiles.xml.SHA256.sig";
constexpr const char* DeveloperCertificate = "sdk.crt";

/// Puts something else in the place of a file. Each has a name.
std::vector<std::pair<std::string, std::function<void(const AppPackage&, const filesystem::path&)>>> Replacements() {
    using Path = filesystem::path;
    return {
        {"nothing", [](const AppPackage&, const Path&) {}},
        {"directory", [](const AppPackage&, const Path& path) { filesystem::create_directory(path); }},
        {"pipe", [](const AppPackage&, const Path& path) { mkfifo(path.c_str(), 0600); }},
        {"socket",
         [](const AppPackage&, const Path& path) {
             sockaddr_un address{};
             address.sun_family = AF_UNIX;
             std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
             const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
             // NOLINTNEXTLINE(bugprone-unused-return-value): without it there is no file, which is refused as well
             bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
             close(descriptor);
         }},
        {"link to nothing", [](const AppPackage&, const Path& path) { filesystem::create_symlink("none", path); }},
        {"link to itself",
         [](const AppPackage&, const Path& path) { filesystem::create_symlink(path.filename(), path); }},
        {"link to a terminal",
         [](const AppPackage&, const Path& path) { filesystem::create_symlink("/dev/tty", path); }},
        {"link to zeros", [](const AppPackage&, const Path& path) { filesystem::create_symlink("/dev/zero", path); }},
        {"link to a pipe",
         [](const AppPackage& package, const Path& path) {
             mkfifo((package.Outside() / "pipe").c_str(), 0600);
             filesystem::create_symlink(package.Outside() / "pipe", path);
         }},
        {"huge file", [](const AppPackage&, const Path& path) {
             WriteFile(path, "");
             filesystem::resize_file(path, std::uintmax_t{1} << 40);
         }}};
}

void AddKinds(Packages& packages) {
    for (const std::string file : {"MyApp.dll", "data/empty", List, Signature, DeveloperCertificate}) {
        for (const auto& [name, replacement] : Replacements()) {
            packages.push_back({"kinds of files", std::string(name).append(" for ").append(file),
                                [file = file, replace = replacement](const AppPackage& package) {
                                    filesystem::remove(package.File(file));
                                    replace(package, package.File(file));
                                }});
        }
        packages.push_back({"links", "to a copy of " + file, [file](const AppPackage& package) {
                                filesystem::rename(package.File(file), package.Outside() / "copy");
                                filesystem::create_symlink(package.Outside() / "copy", package.File(file));
                            }});
    }
    packages.push_back({"links", "listed directory", [](const AppPackage& package) {
                            filesystem::rename(package.File("data"), package.Outside() / "data");
                            filesystem::create_symlink(package.Outside() / "data", package.File("data"));
                        }});
}

/// Few files whose names stand for many directories: each leads over a link of its own down the same deep folder.
/// Makes an empty file so many directories below "d"; returns its path from there on.
std::string MakeDeepFile(const AppPackage& package, int levels) {
    std::string deep;
    for (int level = 0; level < levels; ++level) {
        deep += "/x";
    }
    filesystem::create_directories(package.File("d" + deep));
    deep += "/f";
    WriteFile(package.File("d" + deep), "");
    return deep;
}

void AddDepth(Packages& packages) {
    packages.push_back({"directories", "many above few files", [](const AppPackage& package) {
                            const std::string deep = MakeDeepFile(package, 1900);
                            std::string entries;
                            for (int i = 0; i < 100; ++i) {
                                const std::string link = "L" + std::to_string(i);
                                filesystem::create_symlink("d", package.File(link));
                                entries += FileElement(link + deep, Sha256Of(""));
                            }
                            package.SealWith(entries);
                        }});
    packages.push_back({"directories", "short ones above many files", [](const AppPackage& package) {
                            constexpr int Files = 16'000;
                            const std::string deep = MakeDeepFile(package, 25);
                            std::string entries;
                            for (int i = 0; i < Files; ++i) {
                                const std::string link = std::to_string(i);
                                filesystem::create_symlink("d", package.File(link));
                                entries += FileElement(link + deep, Sha256Of(""));
                            }
                            package.SealWith(entries);
                        }});
}

/// As large as a package may be.
[[maybe_unused]] void AddSize(Packages& packages) {
    packages.push_back({"size", "a file within the limit", [](const AppPackage& package) {
                            filesystem::resize_file(package.File("MyApp.dll"), Zandrel::FileHasher::PackageLimit);
                        }});
}

void AddNames(Packages& packages) {
    // A file that really lies there, so that only the name is wrong.
    for (const std::string name : {"..",
                                   "/",
                                   "//",
                                   ".",
                                   "./MyApp.dll",
                                   "data/../MyApp.dll",
                                   "data//empty",
                                   "data/./empty",
                                   "data/empty/",
                                   "/MyApp.dll",
                                   "//MyApp.dll",
                                   "../outside",
                                   "../app/MyApp.dll",
                                   "data/../../outside",
                                   "/proc/self/exe",
                                   "/dev/null",
                                   "/dev/tty",
                                   " ",
                                   " MyApp.dll",
                                   "MyApp.dll ",
                                   "\nMyApp.dll",
                                   "MYAPP.DLL",
                                   "data\\empty",
                                   "C:\\MyApp.dll",
                                   "~",
                                   "*",
                                   "MyApp.dll\r",
                                   "data",
                                   "lib",
                                   "none"}) {
        packages.push_back({"names", name, [name](const AppPackage& package) {
                                WriteFile(package.Outside() / "outside", "the app");
                                package.SealWith(FileElement(name, Sha256Of("the app")));
                            }});
        packages.push_back({"names in place of the good one", name, [name](const AppPackage& package) {
                                WriteFile(package.Outside() / "outside", "the app");
                                std::string entries = package.Entries();
                                const std::string good = ">MyApp.dll<";
                                entries.replace(entries.find(good), good.size(), ">" + name + "<");
                                package.Seal(FileListOf(entries));
                            }});
    }
}

void AddClashes(Packages& packages) {
    const auto add = [&packages](const std::string& group, const std::string& name, const std::string& entries) {
        packages.push_back({group, name, [entries](const AppPackage& package) { package.SealWith(entries); }});
    };
    add("duplicates", "another sum", FileElement("MyApp.dll", Sha256Of("another")));
    add("duplicates", "of an empty file", FileElement("data/empty", Sha256Of("another")));
    add("clashes", "file as directory", FileElement("MyApp.dll/file", Sha256Of("")));
    add("clashes", "directory as file", FileElement("data", Sha256Of("")));
    add("clashes", "deep", FileElement("data/de/texts.txt/a/b/c", Sha256Of("")));
    for (const std::string file : {List, Signature, DeveloperCertificate}) {
        add("package files", "listed " + file, FileElement(file, Sha256Of("")));
        add("package files", "below " + file, FileElement(file + "/file", Sha256Of("")));
    }
    packages.push_back({"package files", "listed with its sum", [](const AppPackage& package) {
                            package.SealWith(
                                FileElement(DeveloperCertificate, Sha256Of(package.Read(DeveloperCertificate))));
                        }});
    for (const std::string sum : {"", "0", "g", "0x"}) {
        add("sums", "'" + sum + "'", FileElement("MyApp.dll", sum));
    }
    add("sums", "one digit less", FileElement("MyApp.dll", Sha256Of("the app").substr(1)));
    add("sums", "one digit more", FileElement("MyApp.dll", Sha256Of("the app") + "0"));
    add("sums", "blanks around", FileElement("MyApp.dll", " " + Sha256Of("the app") + " "));
    add("sums", "full-width digit", FileElement("MyApp.dll", Sha256Of("the app").substr(3) + "\xEF\xBC\x90"));
    add("missing elements", "both", "<File/>");
    add("missing elements", "name", "<File><Sha256>" + Sha256Of("the app") + "</Sha256></File>");
    add("missing elements", "sum", "<File><Name>MyApp.dll</Name></File>");
    add("missing elements", "as attributes", "<File Name='MyApp.dll' Sha256='" + Sha256Of("the app") + "'/>");
    add("missing elements", "in other case",
        "<File><NAME>MyApp.dll</NAME><SHA256>" + Sha256Of("the app") + "</SHA256></File>");
}

void AddAdditional(Packages& packages) {
    for (const std::string name : {"added", ".hidden", "data/added", "MyApp.dll.config", "appfiles.xml~",
                                   "APPFILES.XML", "line\nfeed", "\x1B[2J", "%s%n", "\xFF\xFE"}) {
        packages.push_back({"added files", name, [name](const AppPackage& package) { package.Write(name, "added"); }});
        packages.push_back({"added directories", name,
                            [name](const AppPackage& package) { filesystem::create_directory(package.File(name)); }});
        packages.push_back({"added links", name, [name](const AppPackage& package) {
                                filesystem::create_symlink("/", package.File(name));
                            }});
    }
    packages.push_back({"added files", "many", [](const AppPackage& package) {
                            for (int i = 0; i < 2000; ++i) {
                                package.Write("added" + std::to_string(i), "");
                            }
                        }});
    packages.push_back(
        {"changed content", "one byte", [](const AppPackage& package) { package.Write("MyApp.dll", "the bpp"); }});
    packages.push_back(
        {"changed content", "shorter", [](const AppPackage& package) { package.Write("MyApp.dll", "the ap"); }});
    packages.push_back(
        {"changed content", "longer", [](const AppPackage& package) { package.Write("MyApp.dll", "the app "); }});
    packages.push_back({"changed content", "files exchanged", [](const AppPackage& package) {
                            package.Write("MyApp.dll", "help");
                            package.Write("lib/Helper.dll", "the app");
                        }});
}

void AddCertificates(Packages& packages) {
    const auto add = [&packages](const std::string& name, const std::string& pem) {
        packages.push_back(
            {"certificates", name, [pem](const AppPackage& package) { package.Write(DeveloperCertificate, pem); }});
        packages.push_back(
            {"authorities", name, [pem](const AppPackage& package) { WriteFile(package.CaFile(), pem); }});
    };
    const std::string good = ToPem(GetDeveloper().certificate);
    const std::size_t line = good.find('\n') + 1;
    add("empty", "");
    add("text", "no certificate\n");
    add("key", ToPem(GetDeveloper().key));
    add("encrypted key", ToPem(GetDeveloper().key, "secret"));
    add("encrypted certificate", good.substr(0, line) + "Proc-Type: 4,ENCRYPTED\nDEK-Info: AES-128-CBC," +
                                     std::string(32, 'A') + "\n\n" + good.substr(line));
    add("large", std::string(std::size_t{64} << 20, 'a'));
    add("large line", "-----BEGIN CERTIFICATE-----\n" + std::string(200000, 'A') + "\n-----END CERTIFICATE-----\n");
    add("many beginnings", [] {
        std::string text;
        for (int i = 0; i < 5000; ++i) {
            text += "-----BEGIN CERTIFICATE-----\n";
        }
        return text;
    }());
    const Key key = MakeEcKey();
    add("of itself", ToPem(MakeCertificate({}, key, nullptr, key)));
    const auto other = MakeCertificate(TestSupport::AuthorityText("Official CA"), key, nullptr, key);
    add("of an impostor", ToPem(MakeCertificate({}, key, other, key)));
    CertificateText expired;
    expired.notAfter = "20341230000000Z";
    add("short-lived", ToPem(MakeDeveloper(key, expired).certificate));
    add("of another key", ToPem(MakeDeveloper(key).certificate));
    for (std::size_t length = 0; length < good.size(); length += 40) {
        packages.push_back(
            {"truncation", "certificate at " + std::to_string(length), [length](const AppPackage& package) {
                 package.Write(DeveloperCertificate, package.Read(DeveloperCertificate).substr(0, length));
             }});
    }
}

void AddSignatures(Packages& packages) {
    const auto add = [&packages](const std::string& name,
                                 const std::function<std::string(const std::string& list)>& sign) {
        packages.push_back({"signatures", name,
                            [sign](const AppPackage& package) { package.Write(Signature, sign(package.Read(List))); }});
    };
    const Key key = MakeEcKey();
    const Key rsa = TestSupport::MakeRsaKey();
    add("of another key", [key](const std::string& list) { return TestSupport::Sign(list, key); });
    add("of an RSA key", [rsa](const std::string& list) { return TestSupport::Sign(list, rsa); });
    add("over another digest",
        [](const std::string& list) { return TestSupport::Sign(list, GetDeveloper().key, "SHA512"); });
    add("over another list", [](const std::string& list) { return TestSupport::Sign(list + " ", GetDeveloper().key); });
    add("of zeros", [](const std::string&) { return std::string("\x30\x06\x02\x01\0\x02\x01\0", 8); });
    add("with more behind it",
        [](const std::string& list) { return TestSupport::Sign(list, GetDeveloper().key) + "x"; });
    add("twice", [](const std::string& list) {
        const std::string one = TestSupport::Sign(list, GetDeveloper().key);
        return one + one;
    });
    add("as text", [](const std::string& list) { return Sha256Of(list); });
    add("large", [](const std::string&) { return std::string(std::size_t{64} << 20, '\x30'); });
    add("within the limit", [](const std::string&) { return std::string(std::size_t{60} << 10, '\x30'); });
    for (std::size_t length = 0; length < 64; length += 4) {
        packages.push_back(
            {"truncation", "signature at " + std::to_string(length), [length](const AppPackage& package) {
                 package.Write(Signature, package.Read(Signature).substr(0, length));
             }});
    }
    for (std::size_t length = 0; length < 400; length += 20) {
        packages.push_back({"truncation", "list at " + std::to_string(length), [length](const AppPackage& package) {
                                package.Write(List, package.Read(List).substr(0, length));
                            }});
        packages.push_back(
            {"truncated lists that are signed", std::to_string(length),
             [length](const AppPackage& package) { package.Seal(package.Read(List).substr(0, length)); }});
    }
    packages.push_back({"keys", "Ed25519", [](const AppPackage& package) {
                            const Signer signer = MakeDeveloper(TestSupport::MakeEd25519Key());
                            package.Write(DeveloperCertificate, ToPem(signer.certificate));
                            package.Write(Signature, TestSupport::Sign(package.Read(List), signer.key, nullptr));
                        }});
}

}  // namespace

std::vector<HostilePackage> MakeHostilePackages() {
    Packages packages = MakeHostileXml();
    AddKinds(packages);
    AddNames(packages);
    AddDepth(packages);
#if !defined(ORN_EMULATED)  // where a digest takes long
    AddSize(packages);
#endif
    AddClashes(packages);
    AddAdditional(packages);
    AddCertificates(packages);
    AddSignatures(packages);
    return packages;
}
