#include "FileList.h"

#include <gmock/gmock.h>

namespace {

using Zandrel::FileEntry;
using Zandrel::FileListError;
using Zandrel::ParseFileList;

/// The names of a list; "-" for an entry without one.
std::vector<std::string> Names(const std::string& text) {
    std::vector<std::string> names;
    for (const FileEntry& entry : ParseFileList(text)) {
        names.push_back(entry.name.value_or("-"));
    }
    return names;
}

std::string ErrorOf(const std::string& text) {
    try {
        ParseFileList(text);
    } catch (const FileListError& error) {
        return error.what();
    }
    return "no error";
}

using NameList = std::vector<std::string>;

TEST(FileListTest, EntriesComeInTheirOrder) {
    EXPECT_EQ(Names("<l><File><Name>b</Name></File><x/><File/><File><Name>a</Name></File></l>"),
              (NameList{"b", "-", "a"}));
}

TEST(FileListTest, NameOfTheTopElementIsNotLookedAt) {
    EXPECT_EQ(
        Names(
            "<?xml version='1.0'?><!DOCTYPE x [<!ENTITY a 'b'>]><!-- list --><File><File><Name>a</Name></File></File>"),
        (NameList{"a"}));
}

TEST(FileListTest, OnlyElementsDirectlyBelowTheTopCount) {
    EXPECT_EQ(Names("<l><x><File><Name>a</Name></File></x></l>"), NameList());
    EXPECT_EQ(Names("<l><file><Name>a</Name></file><n:File><Name>a</Name></n:File></l>"), NameList());
}

TEST(FileListTest, FirstElementOfANameCounts) {
    const std::vector<FileEntry> entries =
        ParseFileList("<l><File><Name>a</Name><Name>b</Name><Sha256>1</Sha256><Sha256>2</Sha256></File></l>");
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].name, "a");
    EXPECT_EQ(entries[0].sha256, "1");
}

TEST(FileListTest, AllTextOfAnElementCountsAsItStands) {
    EXPECT_EQ(Names("<l><File><Name> a<!-- x -->b<x>c</x><![CDATA[<&> ]]>d \n</Name></File></l>"),
              (NameList{" ab<&> d \n"}));
}

TEST(FileListTest, WhiteSpaceAloneIsNoText) {
    EXPECT_EQ(Names("<l><File><Name> \n</Name></File><File><Name> <![CDATA[a]]> </Name></File></l>"),
              (NameList{"", "a"}));
}

TEST(FileListTest, EntitiesStandForTheirCharacters) {
    EXPECT_EQ(Names("<l><File><Name>&amp;&lt;&gt;&quot;&apos;&#65;&#x42;&#xE4;&other;</Name></File></l>"),
              (NameList{"&<>\"'AB\xC3\xA4&other;"}));
    EXPECT_EQ(Names("<l><File><Name>a&#0;b</Name></File></l>"), (NameList{std::string("a\0b", 3)}));
}

TEST(FileListTest, ByteOrderMarkIsSkipped) {
    EXPECT_EQ(Names("\xEF\xBB\xBF<l><File><Name>a</Name></File></l>"), (NameList{"a"}));
}

TEST(FileListTest, WhatIsNoDocumentIsRefused) {
    EXPECT_EQ(ErrorOf(""), "no top element");
    EXPECT_EQ(ErrorOf(" <!-- nothing --> "), "no top element");
    EXPECT_EQ(ErrorOf("<a/><b/>"), "more than one top element");
    EXPECT_EQ(ErrorOf("<![CDATA[a]]><b/>"), "more than one top element");
    EXPECT_EQ(ErrorOf(std::string("<a/>\0", 5)), "unexpected NUL");
    EXPECT_EQ(ErrorOf("text"), "expected <");
    EXPECT_EQ(ErrorOf("<a>"), "unexpected end of data");
    EXPECT_EQ(ErrorOf("<a></b>"), "invalid closing tag name");
    EXPECT_EQ(ErrorOf("<a b></a>"), "expected =");
    EXPECT_EQ(ErrorOf("<a>&#x110000;</a>"), "invalid numeric character entity");
}

TEST(FileListTest, NestingThatWouldExhaustTheStackIsRefused) {
    std::string text;
    for (int i = 0; i < 60000; ++i) {
        text += "<a>";
    }
    EXPECT_EQ(ErrorOf(text), "elements are nested too deeply");
}

}  // namespace
