#pragma once

#include "storage/CloudFileSystem.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

#include <functional>
#include <optional>

// A storage on a fresh root folder, with a folder beside the root that nothing may touch.
class FileSystemStorageTest : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    QMap<QString, QVariant> config(const QString& rootPath) const;

    // Files below a folder, relative to it, with their contents; folders end in "/".
    static QMap<QString, QByteArray> snapshot(const QString& folder);
    void writeFile(const QString& relativePath, const QByteArray& data) const;
    QByteArray readFile(const QString& relativePath) const;
    bool existsBelowRoot(const QString& relativePath) const;

    // Mounts a tmpfs of the given size at folder for the rest of the test; false when mounting
    // is not possible here.
    bool mountTmpfs(const QString& folder, const QString& size);
    bool remountReadOnly(const QString& folder);

    QString m_base;
    QString m_root;
    QString m_outside;
    Norvik::Cloud::Api::CloudFileSystem m_storage;

private:
    QStringList m_mounts;
};

// Runs call and returns the exception of type E it threw; records a failure otherwise.
template <typename E>
std::optional<E> thrown(const std::function<void()>& call)
{
    try {
        call();
    } catch (const E& expected) {
        return expected;
    } catch (const std::exception& other) {
        ADD_FAILURE() << "another exception: " << other.what();
        return std::nullopt;
    } catch (...) {
        ADD_FAILURE() << "an exception outside the family";
        return std::nullopt;
    }
    ADD_FAILURE() << "no exception";
    return std::nullopt;
}
