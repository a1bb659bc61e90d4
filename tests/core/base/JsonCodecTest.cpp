#include "base/JsonCodec.h"
#include "base/VantorError.h"

#include <QUrl>
#include <gtest/gtest.h>
#include <optional>

using namespace vantor;

namespace {

// How a file URL reads by QUrl's rules alone: the path, or nothing when it is refused.
std::optional<QString> readByQUrl(const QString &text)
{
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || !url.isLocalFile() || !url.path().startsWith(QLatin1Char('/')))
        return std::nullopt;
    QString path = url.toLocalFile();
    while (path.size() > 1 && path.endsWith(QLatin1Char('/')))
        path.chop(1);
    return path;
}

std::optional<QString> decoded(const QString &text)
{
    try {
        return JsonCodec::decodeFileUrl(text, QStringLiteral("Job.source"));
    } catch (const DecodingError &) {
        return std::nullopt;
    }
}

// Paths are written as URLs and read back exactly, whatever characters they hold.
TEST(FileUrls, EveryPathSurvivesItsUrl)
{
    for (const char *path : {"/", "/media/CARD 1/CLIP/A001C002.mov", "/a/b.c/d~e_f-g", "/média/çà/日本.mov", "/€ÿĀ/Ωß/😀",
                             "/x/100% #1?.mov", "/x/a+b=c&d;e,f(g)!'h'@i:j$k*", "/x/.hidden/..x/x..", "/x/%41",
                             "/x/tab\there", "/x/[1]{2}<3>|4\"5\\6^7`8"}) {
        const QString original = QString::fromUtf8(path);
        EXPECT_EQ(decoded(JsonCodec::fileUrl(original).toString()), original) << path;
        // A folder's URL ends in "/"; its path does not.
        EXPECT_EQ(decoded(JsonCodec::fileUrl(original, true).toString()), original) << path;
    }
}

// Hand-written and damaged URLs read, or are refused, as QUrl reads them.
TEST(FileUrls, OddUrlsReadAsQUrlReadsThem)
{
    for (const char *text : {"file:///", "file:///a//b", "file:///a/./b", "file:///a/../b", "file:///a/b/.",
                             "file:///a/b/..", "file:///a%2Fb", "file:///a%2fb", "file:///%41%42", "file:///a%20b",
                             "file:///a%2", "file:///a%zz", "file:///a%FF", "file:///a%C3%A9", "file:///a%0Ab",
                             "file:///a%25b", "file:///a%2E%2E/b", "file:///a%5Bb%5D%7B%7D", "file:///a%3Fb%23c%3B", "file:///a b", "file:///a?b", "file:///a#b",
                             "file://host/a", "file:/a", "file:a", "http:///a", "FILE:///a", "file:///a/b/",
                             "file:////a", "file:///a%00b", "", "file://", "file:///é"}) {
        const QString url = QString::fromUtf8(text);
        EXPECT_EQ(decoded(url), readByQUrl(url)) << text;
    }
}

} // namespace
