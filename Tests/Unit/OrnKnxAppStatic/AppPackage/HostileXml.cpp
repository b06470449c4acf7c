#include "HostilePackages.h"

namespace {

using TestSupport::AppPackage;
using TestSupport::FileElement;
using TestSupport::FileListOf;
using TestSupport::Sha256Of;

std::string Repeat(const std::string& part, std::size_t count) {
    std::string text;
    text.reserve(part.size() * count);
    for (std::size_t i = 0; i < count; ++i) {
        text += part;
    }
    return text;
}

class Lists {
public:
    using Text = std::function<std::string()>;

    /// A list that is signed as it stands.
    void Add(const std::string& group, const std::string& name, const Text& list) {
        packages_.push_back({group, name, [list](const AppPackage& package) { package.Seal(list()); }});
    }
    void Add(const std::string& group, const std::string& name, const std::string& list) {
        Add(group, name, [list] { return list; });
    }
    /// The good entries with more behind them.
    void AddEntries(const std::string& group, const std::string& name, const Text& entries) {
        packages_.push_back({group, name, [entries](const AppPackage& package) { package.SealWith(entries()); }});
    }
    void AddEntries(const std::string& group, const std::string& name, const std::string& entries) {
        AddEntries(group, name, [entries] { return entries; });
    }
    std::vector<HostilePackage> Take() { return std::move(packages_); }

private:
    std::vector<HostilePackage> packages_;
};

void AddMalformed(Lists& lists) {
    const std::vector<std::string> malformed{"",
                                             " ",
                                             "text",
                                             "<",
                                             "<>",
                                             "</a>",
                                             "<a",
                                             "<a ",
                                             "<a>",
                                             "<a/",
                                             "<a b>",
                                             "<a b=>",
                                             "<a b=c/>",
                                             "<a b='c/>",
                                             "<a b=\"c'/>",
                                             "<a></b>",
                                             "<a></a",
                                             "<a></a ",
                                             "<a><b></a></b>",
                                             "<a></a></a>",
                                             "<a></a>text",
                                             "<?xml",
                                             "<?xml ?",
                                             "<!",
                                             "<!-",
                                             "<!--",
                                             "<!-- -",
                                             "<!-- --",
                                             "<!DOCTYPE",
                                             "<!DOCTYPE ",
                                             "<!DOCTYPE a [",
                                             "<!DOCTYPE a [[]",
                                             "<![CDATA[",
                                             "<a><![CDATA[</a>",
                                             "<a><![CDATA[]]</a>",
                                             "<!-- only -->",
                                             "<?only?>",
                                             "<a/><b/>",
                                             "<a/><File/>",
                                             "\xEF\xBB\xBF",
                                             "\xFE\xFF<a/>",
                                             std::string("\xFF\xFE<\0a", 5),
                                             "<a>&#x110000;</a>",
                                             "<a>&#99999999999999999999;</a>",
                                             "<a>&#;</a>",
                                             "<a>&#x;</a>"};
    for (std::size_t i = 0; i < malformed.size(); ++i) {
        lists.Add("malformed", std::to_string(i) + " " + malformed[i], malformed[i]);
    }
}

void AddSizes(Lists& lists) {
    for (const std::size_t depth : {std::size_t{101}, std::size_t{1000}, std::size_t{60000}, std::size_t{1000000}}) {
        const std::string number = std::to_string(depth);
        lists.Add("depth", "open " + number, [=] { return Repeat("<a>", depth); });
        lists.Add("depth", "closed " + number, [=] { return Repeat("<a>", depth) + Repeat("</a>", depth); });
        lists.Add("depth", "below comments " + number, [=] { return Repeat("<a><!--</a>-->", depth / 4 + 101); });
        lists.Add("depth", "below quotes " + number, [=] { return Repeat("<a b='/></a>'>", depth / 4 + 101); });
        lists.Add("depth", "below text " + number, [=] { return Repeat("<a>/>", depth) + Repeat("</a>", depth); });
        lists.Add("depth", "odd names " + number, [=] { return Repeat("<a\">", depth) + Repeat("</a\">", depth); });
    }
    constexpr std::size_t Megabyte = std::size_t{1} << 20;
    lists.Add("size", "elements", [=] { return "<a>" + Repeat("<b/>", Megabyte) + "</a>"; });
    lists.Add("size", "attributes", [=] { return "<a" + Repeat(" b=''", Megabyte) + "/>"; });
    lists.Add("size", "text and comments", [=] { return "<a>" + Repeat("b<!---->", Megabyte / 2) + "</a>"; });
    lists.Add("size", "CDATA", [=] { return "<a>" + Repeat("<![CDATA[]]>", Megabyte / 2) + "</a>"; });
    lists.Add("size", "files", [=] { return FileListOf(Repeat("<File/>", Megabyte)); });
    lists.Add("size", "files within the limit", [=] { return FileListOf(Repeat("<File/>", 119990)); });
    lists.Add("size", "blanks", [=] { return Repeat(" ", 7 * Megabyte); });
    lists.Add("size", "beyond the limit", [=] { return "<a>" + Repeat(" ", 8 * Megabyte) + "</a>"; });
    lists.Add("size", "100 MB", [=] { return "<a>" + Repeat(" ", 100 * Megabyte) + "</a>"; });
    lists.AddEntries("size", "a name", [=] { return FileElement(Repeat("a", 7 * Megabyte), Sha256Of("")); });
    lists.AddEntries("size", "components of a name",
                     [=] { return FileElement(Repeat("a/", 3 * Megabyte) + "a", Sha256Of("")); });
    lists.AddEntries("size", "components within the limit",
                     [=] { return FileElement(Repeat("a/", 2000) + "a", Sha256Of("")); });
    lists.AddEntries("size", "a sum", [=] { return FileElement("MyApp.dll", Repeat("a", 7 * Megabyte)); });
    lists.Add("size", "an element's name", [=] { return "<" + Repeat("a", 7 * Megabyte) + ">"; });
    lists.Add("size", "references",
              [=] { return FileListOf("<File><Name>" + Repeat("&#65;", Megabyte) + "</Name></File>"); });
}

void AddEntities(Lists& lists) {
    std::string laughs = "<!DOCTYPE l [<!ENTITY e0 'ha'>";
    for (int i = 1; i < 30; ++i) {
        const std::string before = "&e" + std::to_string(i - 1) + ";";
        laughs += "<!ENTITY e" + std::to_string(i) + " '" + Repeat(before, 10) + "'>";
    }
    const auto file = [](const std::string& name) {
        return "<File><Name>" + name + "</Name><Sha256>" + Sha256Of("the app") + "</Sha256></File>";
    };
    lists.Add("entities", "exponential", laughs + "]><l>" + file("&e29;") + "</l>");
    for (const std::string uri : {"file:///etc/passwd", "http://127.0.0.1:9/", "/dev/tty", "MyApp.dll"}) {
        lists.Add("entities", "external " + uri,
                  "<!DOCTYPE l [<!ENTITY x SYSTEM '" + uri + "'>]><l>" + file("&x;") + "</l>");
        lists.Add("entities", "parameter " + uri,
                  "<!DOCTYPE l [<!ENTITY % x SYSTEM '" + uri + "'> %x;]><l>" + file("MyApp.dll") + "</l>");
        lists.Add("entities", "document type " + uri,
                  "<!DOCTYPE l SYSTEM '" + uri + "'><l>" + file("MyApp.dll") + "</l>");
        lists.Add("entities", "inclusion " + uri,
                  "<l xmlns:i='http://www.w3.org/2001/XInclude'><i:include href='" + uri + "'/></l>");
    }
    for (const std::string reference :
         {"&#0;", "&#x0;", "&#00;", "&#xD800;", "&#xFFFF;", "&#x10FFFF;", "&#47;", "&#46;&#46;",
          "&#46;&#46;&#47;app&#47;MyApp.dll", "&unknown;", "&", "&;", "&amp", "&#10;", "&#13;"}) {
        lists.AddEntries("character references", reference, file(reference));
        lists.AddEntries("character references", "after a name " + reference, file("MyApp.dll" + reference));
    }
    for (const std::size_t place : {std::size_t{0}, std::size_t{1}, std::size_t{20}, std::size_t{90}}) {
        std::string list = FileListOf(file("MyApp.dll"));
        list.insert(place, 1, '\0');
        lists.Add("NUL", "at " + std::to_string(place), list);
    }
    lists.Add("NUL", "at the end", FileListOf("") + std::string(1, '\0'));
    lists.AddEntries("NUL", "in a name", file(std::string("MyApp.dll\0x", 11)));
}

}  // namespace

std::vector<HostilePackage> MakeHostileXml() {
    Lists lists;
    AddMalformed(lists);
    AddSizes(lists);
    AddEntities(lists);
    return lists.Take();
}
