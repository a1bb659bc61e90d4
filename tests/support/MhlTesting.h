#pragma once

#include <QString>
#include <QStringList>

namespace vantor::test {

// The ASC MHL test data kept in the tree: the standard's schemas and its example histories.
QString ascmhlData(const QString &relative = {});
// xmllint's complaints about a manifest or chain file against the schemas; empty when valid.
QString schemaErrors(const QString &path);
// Every file of a history's ascmhl/ folder below `root`, the manifests and the chains.
QStringList historyFiles(const QString &root);
// Copies a folder tree, files writable, so a test can change it.
void copyTree(const QString &from, const QString &to);

} // namespace vantor::test
