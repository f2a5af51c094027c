#pragma once

#include <QUrlQuery>

#include <optional>

/// How a stream is cut into network packets, as the query of its address says: "payload=300&
/// times=slice". Senders in the field do each of these.
struct SenderManner
{
    enum class Times : quint8 { Picture, Slice, Packet };
    enum class Markers : quint8 { Last, Never, Always };

    int payloadBytes = 1400;      ///< "payload": of a packet that is full
    bool evenPieces = false;      ///< "even": a unit in pieces of one size, instead of full packets
    bool setsAtSlices = false;    ///< "sets": parameter sets ahead of every slice of a key picture
    bool joined = false;          ///< "join": parameter sets in one packet
    bool filler = false;          ///< "filler": bytes behind each picture that belong to none
    Times times = Times::Picture; ///< "times": what has a media time of its own
    Markers markers = Markers::Last; ///< "markers": which packets of a picture are marked
    int pesBytes = 0;    ///< "pes": as a transport stream, with so many bytes in each PES packet
    int lostPercent = 0; ///< "lose": of the packets behind the first picture
    int skippedPictures = 0; ///< "skip": the stream begins behind these
    int fps = 25;            ///< "fps": of the media times
    bool paced = false;      ///< "paced": at that rate, instead of as fast as they are read
};

/// Nothing when the query holds a key or a value that is not known.
std::optional<SenderManner> parseSenderManner(const QUrlQuery &query);
