#include "RotatingFile.h"

using namespace Qt::StringLiterals;

RotatingFile::RotatingFile(const QString &folder, Bounds bounds)
    : m_folder(folder)
    , m_bounds(bounds)
{
    if (!m_folder.mkpath(u"."_s))
        return;
    takeName();
    m_file.setFileName(pathOf(0));
    if (!m_name.isEmpty() && !m_file.open(QIODevice::Append | QIODevice::Unbuffered))
        m_name.clear();
}

/// Systems differ in whether a file may be renamed while another process writes to it, and its
/// lines would mix in any case.
void RotatingFile::takeName()
{
    for (int i = 1; i <= kConsoles; ++i) {
        const QString name = i == 1 ? u"podconsole"_s : u"podconsole-%1"_s.arg(i);
        m_lock = std::make_unique<QLockFile>(m_folder.filePath(name + u".lock"_s));
        m_lock->setStaleLockTime(0); // not by age: a console may run for days
        if (m_lock->tryLock(0)) {
            m_name = name;
            return;
        }
    }
}

QString RotatingFile::path() const { return m_name.isEmpty() ? QString() : pathOf(0); }

QString RotatingFile::pathOf(int age) const
{
    const QString number = age == 0 ? QString() : u".%1"_s.arg(age);
    return m_folder.filePath(m_name + number + u".log"_s);
}

void RotatingFile::write(QByteArray line)
{
    if (m_name.isEmpty())
        return;
    line.truncate(m_bounds.fileBytes - 1);
    line.append('\n');
    if (!m_file.isOpen() || m_file.size() + line.size() > m_bounds.fileBytes)
        openFresh();
    if (m_file.isOpen())
        m_file.write(line);
}

void RotatingFile::openFresh()
{
    m_file.close();
    QFile::remove(pathOf(m_bounds.files - 1));
    for (int age = m_bounds.files - 1; age > 0; --age)
        QFile::rename(pathOf(age - 1), pathOf(age));
    // A name that is held - by a viewer, by a folder - costs the old lines and not the bound.
    m_file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered);
}
