#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

/// The properties of an object as texts, to tell what a step changed and that it changed nothing
/// else.
class PropertySnapshot
{
public:
    explicit PropertySnapshot(const QObject &object);

    /// What differs now, as "name=value" in the order of declaration, joined by spaces. Real
    /// numbers are written with twelve digits, below which lies the noise of their scaling.
    QString changes() const;

    /// Every property, likewise.
    const QStringList &lines() const { return m_lines; }

private:
    QStringList read() const;

    const QObject &m_object;
    QStringList m_lines;
};
