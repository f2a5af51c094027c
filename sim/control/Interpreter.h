#pragma once

#include "model/PodModel.h"

#include <QByteArray>
#include <QString>

#include <functional>

/// Executes command frames on a model. What a command asks of the pod beyond its state - replies,
/// another status frame, a restart of the stream - goes through the hooks.
class Interpreter
{
public:
    enum class Query : quint8 { Sbus, Version, B7N };

    struct Hooks
    {
        std::function<void(Query)> answer;
        std::function<void(bool plain)> setStatusType; ///< true: without zoom and work mode
        std::function<void(int index)> setStatusFrequency;
        std::function<void()> restartStream;
        std::function<void()> setEncoder; ///< as the model has it now
    };

    Interpreter(PodModel &model, Hooks hooks);

    /// `frame` is whole and its checksum right. Returns what it was, in words; empty when the pod
    /// does not know it.
    QString execute(const QByteArray &frame);

private:
    QString executeShort(const QByteArray &frame);
    QString executeLong(const QByteArray &frame);

    PodModel &m_model;
    Hooks m_hooks;
};
