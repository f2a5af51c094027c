#pragma once

#include <QtGlobal>

#include <limits>
#include <memory>
#include <utility>

/// Numbers what is wanted of an object, newest last. An operation that serves events while it
/// waits takes a Wish at its beginning and goes on afterwards only if that is still the newest;
/// else something newer has been asked for meanwhile, or the object is gone. One thread only.
class Wishes
{
public:
    class Wish
    {
    public:
        bool isNewest() const { return *m_newest == m_number; }

        bool ownerIsAlive() const { return *m_newest != kOwnerGone; }

    private:
        friend class Wishes;

        Wish(std::shared_ptr<const quint64> newest, quint64 number)
            : m_newest(std::move(newest))
            , m_number(number)
        {
        }

        std::shared_ptr<const quint64> m_newest;
        quint64 m_number;
    };

    Wishes() = default;

    ~Wishes() { *m_newest = kOwnerGone; }

    Wishes(const Wishes &) = delete;
    Wishes &operator=(const Wishes &) = delete;

    /// Makes every earlier wish obsolete.
    Wish next()
    {
        const quint64 number = ++*m_newest;
        return {m_newest, number};
    }

private:
    static constexpr quint64 kOwnerGone = std::numeric_limits<quint64>::max();

    std::shared_ptr<quint64> m_newest = std::make_shared<quint64>(0);
};
