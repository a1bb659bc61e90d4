#include "MhlTesting.h"

#include "ChildProcess.h"
#include "TempDir.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <gtest/gtest.h>

namespace vantor::test {

QString ascmhlData(const QString &relative)
{
    return QStringLiteral(VANTOR_ASCMHL_DATA) + (relative.isEmpty() ? QString() : QLatin1Char('/') + relative);
}

QString schemaErrors(const QString &path)
{
    static TempDir schemas;
    const QString manifestSchema = ascmhlData("xsd/ASCMHL.xsd");
    const QString chainSchema = schemas.file("ASCMHLDirectory.xsd");
    if (!QFileInfo::exists(chainSchema)) {
        // Its import names the schema's web address; the tests stay off the network.
        QByteArray text = readFile(ascmhlData("xsd/ASCMHLDirectory.xsd"));
        text.replace("https://raw.githubusercontent.com/ascmitc/mhl/master/xsd/ASCMHL.xsd", manifestSchema.toUtf8());
        schemas.write("ASCMHLDirectory.xsd", text);
    }
    const QString schema = path.endsWith(QLatin1String(".mhl")) ? manifestSchema : chainSchema;
    const ProcessResult result = runProgram("xmllint", {"--noout", "--nonet", "--schema", schema, path});
    return result.exitCode == 0 ? QString() : result.errText() + result.outText();
}

QStringList historyFiles(const QString &root)
{
    QStringList files;
    QDirIterator it(root, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        if (path.contains(QLatin1String("/ascmhl/")))
            files.append(path);
    }
    files.sort();
    return files;
}

void copyTree(const QString &from, const QString &to)
{
    QDir().mkpath(to);
    QDirIterator it(from, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QString target = to + path.mid(from.size());
        if (it.fileInfo().isDir()) {
            QDir().mkpath(target);
        } else {
            ASSERT_TRUE(QFile::copy(path, target)) << path.toStdString();
            QFile::setPermissions(target, QFile::ReadOwner | QFile::WriteOwner);
        }
    }
}

} // namespace vantor::test
