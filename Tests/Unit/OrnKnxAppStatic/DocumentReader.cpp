#include "DocumentReader.h"

#include <cstddef>
#include <stdexcept>

namespace DocumentReader {

namespace {

class Reader {
public:
    explicit Reader(const std::string& document) : document_(document) {}

    Node ReadAll() {
        Node node = ReadNode();
        if (position_ != document_.size()) {
            Fail("more text after the end");
        }
        return node;
    }

private:
    Node ReadNode() {
        switch (Peek()) {
            case '{':
                return ReadObject();
            case '[':
                return ReadList();
            case '"':
                return {Node::Kind::String, ReadString(), {}, {}};
            default:
                return {Node::Kind::Bare, ReadBareWord(), {}, {}};
        }
    }

    Node ReadObject() {
        Node object;
        object.kind = Node::Kind::Object;
        Expect('{');
        while (Peek() != '}') {
            if (!object.members.empty()) {
                Expect(',');
            }
            std::string key = ReadString();
            Expect(':');
            object.members.emplace_back(std::move(key), ReadNode());
        }
        Expect('}');
        return object;
    }

    Node ReadList() {
        Node list;
        list.kind = Node::Kind::List;
        Expect('[');
        while (Peek() != ']') {
            if (!list.items.empty()) {
                Expect(',');
            }
            list.items.push_back(ReadNode());
        }
        Expect(']');
        return list;
    }

    std::string ReadString() {
        std::string text;
        Expect('"');
        while (Peek() != '"') {
            if (Peek() == '\\') {
                Expect('\\');
            }
            text += Peek();
            ++position_;
        }
        Expect('"');
        return text;
    }

    std::string ReadBareWord() {
        const std::size_t end = document_.find_first_not_of("0123456789aeflrstu", position_);
        if (end == position_) {
            Fail("a value is missing");
        }
        std::string word = document_.substr(position_, end - position_);
        position_ += word.size();
        return word;
    }

    char Peek() const {
        if (position_ >= document_.size()) {
            Fail("the end came too early");
        }
        return document_[position_];
    }

    void Expect(char character) {
        if (Peek() != character) {
            Fail(std::string("not ") + character);
        }
        ++position_;
    }

    [[noreturn]] void Fail(const std::string& reason) const {
        throw std::runtime_error(reason + " at byte " + std::to_string(position_));
    }

    const std::string& document_;
    std::size_t position_ = 0;
};

}  // namespace

const Node& Node::operator[](const std::string& key) const {
    for (const auto& [name, node] : members) {
        if (name == key) {
            return node;
        }
    }
    throw std::out_of_range("no member " + key + " among: " + GetKeys());
}

std::string Node::GetKeys() const {
    std::string keys;
    for (const auto& [name, node] : members) {
        keys.append(keys.empty() ? "" : " ").append(name);
    }
    return keys;
}

Node Read(const std::string& document) {
    return Reader(document).ReadAll();
}

}  // namespace DocumentReader
