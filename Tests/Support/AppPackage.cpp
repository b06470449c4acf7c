#include "AppPackage.h"

#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>
#include <iterator>
#include <map>
#include <stdexcept>

namespace TestSupport {

namespace {

namespace filesystem = boost::filesystem;

const std::map<std::string, std::string>& GetFiles() {
    static const std::map<std::string, std::string> files{
        {"MyApp.dll", "the app"}, {"data/de/texts.txt", "Guten Tag"}, {"data/empty", ""}, {"lib/Helper.dll", "help"}};
    return files;
}

}  // namespace

void WriteFile(const filesystem::path& path, const std::string& content) {
    filesystem::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << content;
    if (!stream.flush()) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

std::string ReadFile(const filesystem::path& path) {
    filesystem::ifstream stream(path, std::ios::binary);
    if (!stream) {
        throw std::runtime_error("cannot read " + path.string());
    }
    return {std::istreambuf_iterator<char>(stream), {}};
}

const Signer& GetAuthority() {
    static const Signer authority = [] {
        const Key key = MakeEcKey();
        return Signer{key, MakeCertificate(AuthorityText("Official CA"), key, nullptr, key)};
    }();
    return authority;
}

const Signer& GetDeveloper() {
    static const Signer developer = MakeDeveloper(MakeEcKey());
    return developer;
}

Signer MakeDeveloper(const Key& key, const CertificateText& text) {
    return {key, MakeCertificate(text, key, GetAuthority().certificate, GetAuthority().key)};
}

std::string FileElement(const std::string& name, const std::string& sha256) {
    return "<File><Name>" + name + "</Name><Sha256>" + sha256 + "</Sha256></File>\n";
}

std::string FileListOf(const std::string& entries) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Files>\n" + entries + "</Files>\n";
}

AppPackage::AppPackage()
    : folder_(filesystem::temp_directory_path() / filesystem::unique_path("orn-package-%%%%-%%%%-%%%%")),
      directory_(folder_ / "app") {
    filesystem::create_directories(directory_);
    WriteFile(CaFile(), ToPem(GetAuthority().certificate));
    for (const auto& [name, content] : GetFiles()) {
        Write(name, content);
    }
    Seal();
}

AppPackage::~AppPackage() {
    boost::system::error_code ignored;
    filesystem::remove_all(folder_, ignored);
}

void AppPackage::Write(const std::string& name, const std::string& content) const {
    filesystem::create_directories(File(name).parent_path());
    WriteFile(File(name), content);
}

std::string AppPackage::Read(const std::string& name) const {
    return ReadFile(File(name));
}

std::string AppPackage::Entries() {
    std::string entries;
    for (const auto& [name, content] : GetFiles()) {
        entries += FileElement(name, Sha256Of(content));
    }
    return entries;
}

void AppPackage::Seal(const std::string& fileList, const Signer& signer) const {
    Write("appfiles.xml", fileList);
    Write("appfiles.xml.SHA256.sig", Sign(fileList, signer.key));
    Write("sdk.crt", ToPem(signer.certificate));
}

}  // namespace TestSupport
