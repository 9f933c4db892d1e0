#include "tests/ftp/FTPPeer.h"

#include <mutex>
#include <optional>
#include <string_view>

namespace vexil_test {

namespace {

bool opensData(const std::string& reply) {
    return reply.find("DATA_PORT") != std::string::npos || reply.find("DATA_ADDRESS") != std::string::npos;
}

std::string replaced(std::string text, std::string_view name, const std::string& value) {
    const std::size_t at = text.find(name);
    return at == std::string::npos ? text : text.replace(at, name.size(), value);
}

std::string gateOf(const char* name, std::size_t transfer) {
    return name + std::to_string(transfer);
}

void end(ConnectionScript& script, FTPCut::Way way) {
    way == FTPCut::Way::Close ? script.close() : script.reset();
}

}  // namespace

/// The peers wake each other, and one of them is destroyed first.
struct FTPPeer::Link {
    std::mutex mutex;
    ScriptedPeer* control = nullptr;

    void release(const std::string& gate) {
        const std::lock_guard lock(mutex);
        if (control) {
            control->release(gate);
        }
    }
};

/// Makes the scripts of a dialogue.
struct FTPPeer::Player {
    Player(FTPPeer& itsPeer, const FTPCut& itsCut)
        : peer(itsPeer), cut(itsCut), control(itsPeer.m_control->onConnection()) {
        if (cut.place != FTPCut::Place::Nowhere) {
            control.clientMayLeave();
        }
    }

    void play(const FTPDialogue& dialogue);
    void playReply(const FTPExchange& exchange, std::size_t number);
    void endAnyhow();
    void openData();
    void transfer(const FTPExchange& exchange);
    bool cutsHere(FTPCut::Place place) const { return cut.place == place && cut.index == reply; }

    FTPPeer& peer;
    const FTPCut cut;
    ConnectionScript control;
    std::optional<ConnectionScript> data;
    std::optional<FTPCut::Place> dataCut;  ///< of the open data connection
    std::size_t transferOfPeer = 0;
    std::size_t opened = 0;
    std::size_t reply = 0;
    bool hasEnded = false;
};

void FTPPeer::Player::play(const FTPDialogue& dialogue) {
    for (const FTPExchange& exchange : dialogue) {
        if (exchange.isOptional) {
            control.thenClientMayLeave();
        }
        if (!exchange.command.empty()) {
            control.expectLine(exchange.command);
        }
        if (exchange.data != FTPExchange::Data::None) {
            transfer(exchange);
        }
        for (std::size_t i = 0; i < exchange.replies.size() && !hasEnded; ++i) {
            playReply(exchange, i);
        }
        if (hasEnded) {
            return;
        }
    }
    control.close();
}

void FTPPeer::Player::playReply(const FTPExchange& exchange, std::size_t number) {
    const bool isTransfer = exchange.data != FTPExchange::Data::None;
    if (isTransfer && number > 0) {
        control.pause(gateOf("end", transferOfPeer));
        if (dataCut) {
            control.reply("426 The data connection has broken\r\n");
            endAnyhow();
            return;
        }
    }
    std::string text = exchange.replies[number] + "\r\n";
    if (opensData(text)) {
        openData();
        const std::uint16_t port =
            dataCut == FTPCut::Place::DataRefused ? ScriptedPeer::closedPort() : peer.m_data->port();
        text = replaced(text, "DATA_PORT", std::to_string(port));
        text = replaced(text, "DATA_ADDRESS",
                        "127,0,0,1," + std::to_string(port / 256) + "," + std::to_string(port % 256));
    }
    if (cutsHere(FTPCut::Place::BeforeReply)) {
        end(control, cut.way);
        hasEnded = true;
    } else if (cutsHere(FTPCut::Place::WithinReply)) {
        control.replyCut(text, text.size() / 2);
        end(control, cut.way);
        hasEnded = true;
    } else {
        if (isTransfer && number == 0) {
            control.replyWith(
                [text, data = peer.m_data.get(), gate = gateOf("start", transferOfPeer)](const std::string&) {
                    data->release(gate);
                    return text;
                });
        } else {
            control.reply(text);
        }
        if (cutsHere(FTPCut::Place::BehindReply)) {
            end(control, cut.way);
            hasEnded = true;
        }
    }
    if (opensData(exchange.replies[number]) && dataCut == FTPCut::Place::DataRefused) {
        const int port = ScriptedPeer::closedPort();
        control.expectLine("PASV").reply("227 Passive (127,0,0,1," + std::to_string(port / 256) + "," +
                                         std::to_string(port % 256) + ")\r\n");
        endAnyhow();
    }
    ++reply;
}

void FTPPeer::Player::endAnyhow() {
    control.expectLine().reply("221 Bye\r\n").close();
    hasEnded = true;
}

void FTPPeer::Player::openData() {
    using Place = FTPCut::Place;
    const bool isCut = (cut.place == Place::DataRefused || cut.place == Place::BeforeData ||
                        cut.place == Place::WithinData) &&
                       cut.index == opened;
    dataCut = isCut ? std::optional(cut.place) : std::nullopt;
    ++opened;
    data.reset();
    if (dataCut == Place::DataRefused) {
        return;
    }
    transferOfPeer = peer.m_transfers++;
    data = peer.m_data->onConnection();
    data->clientMayLeave();
}

void FTPPeer::Player::transfer(const FTPExchange& exchange) {
    if (!data) {
        return;
    }
    data->pause(gateOf("start", transferOfPeer));
    const bool isCut = dataCut.has_value();
    const std::size_t count = dataCut == FTPCut::Place::BeforeData   ? 0
                              : dataCut == FTPCut::Place::WithinData ? exchange.bytes.size() / 2
                                                                     : exchange.bytes.size();
    if (exchange.data == FTPExchange::Data::Send) {
        data->replyCut(exchange.bytes, count);
    } else if (isCut) {
        data->expectBytes(count);
    } else {
        data->readUntilClose();
    }
    data->replyWith([link = peer.m_link, gate = gateOf("end", transferOfPeer)](const std::string&) {
        link->release(gate);
        return std::string();
    });
    if (isCut) {
        end(*data, cut.way);
    } else {
        data->close();
    }
}

FTPPeer::FTPPeer()
    : m_data(std::make_unique<ScriptedPeer>()), m_link(std::make_shared<Link>()),
      m_control(std::make_unique<ScriptedPeer>()) {
    m_link->control = m_control.get();
}

FTPPeer::~FTPPeer() {
    {
        const std::lock_guard lock(m_link->mutex);
        m_link->control = nullptr;
    }
    // Its thread may still wake the data connections.
    m_control.reset();
}

std::string FTPPeer::host() const {
    return "127.0.0.1:" + std::to_string(m_control->port());
}

void FTPPeer::play(const FTPDialogue& dialogue, const FTPCut& cut) {
    Player(*this, cut).play(dialogue);
}

bool FTPPeer::waitUntilIdle() const {
    return m_control->waitUntilIdle() && m_data->waitUntilIdle();
}

std::vector<std::string> FTPPeer::failures() const {
    std::vector<std::string> all = m_control->failures();
    for (const std::string& failure : m_data->failures()) {
        all.push_back("data " + failure);
    }
    return all;
}

std::size_t replyCountOf(const FTPDialogue& dialogue) {
    std::size_t count = 0;
    for (const FTPExchange& exchange : dialogue) {
        count += exchange.replies.size();
    }
    return count;
}

std::size_t dataConnectionCountOf(const FTPDialogue& dialogue) {
    std::size_t count = 0;
    for (const FTPExchange& exchange : dialogue) {
        for (const std::string& reply : exchange.replies) {
            count += opensData(reply) ? 1 : 0;
        }
    }
    return count;
}

}  // namespace vexil_test
