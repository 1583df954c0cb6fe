#pragma once

#include <array>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include <sys/socket.h>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/read.hpp>

#include "simulator/http/HttpFarm.h"
#include "simulator/http/RecordedAnswer.h"
#include "simulator/http/RequestParser.h"

namespace Kelvar::Simulator {

/// One connection of a farm. It has one operation under way at any time, whose handler keeps it alive.
template <class Stream>
class FarmConnection : public std::enable_shared_from_this<FarmConnection<Stream>> {
  using Socket = boost::asio::ip::tcp::socket;
  using Error = boost::system::error_code;
  static constexpr bool kIsTls = !std::is_same_v<Stream, Socket>;

 public:
  /// `arguments` follow the socket in the stream's constructor.
  template <class... Arguments>
  FarmConnection(const HttpFarm::Site& site, Socket socket, Arguments&... arguments)
      : site_(site), timer_(socket.get_executor()), stream_(std::move(socket), arguments...) {}

  void Begin() {
    ApplyFault("@accept", LowestLayer(), [this] { Handshake(); });
  }

 private:
  Socket& LowestLayer() {
    if constexpr (kIsTls) {
      return stream_.next_layer();
    } else {
      return stream_;
    }
  }

  void Handshake() {
    if constexpr (kIsTls) {
      stream_.async_handshake(boost::asio::ssl::stream_base::server,
                              [self = this->shared_from_this()](const Error& error) { self->BeginTls(error); });
    } else {
      ReadRequest();
    }
  }

  void BeginTls(const Error& error) {
    if (!error) {
      ApplyFault("@tls", stream_, [this] { ReadRequest(); });
    }
  }

  /// Applies a fault of the connection, and goes on with `next` when it leaves something to go on with.
  template <class Layer, class Next>
  void ApplyFault(std::string_view stage, Layer& layer, Next next) {
    const auto fault = site_.connectionFault ? site_.connectionFault(stage) : std::nullopt;
    answer_ = RecordedAnswer();
    end_ = fault ? ApplyConnectionFault(*fault, answer_) : Fault::End::Keep;
    Play(layer, std::move(next));
  }

  void ReadRequest() {
    parser_.emplace();
    SetLimits(*parser_);
    boost::beast::http::async_read(
        stream_, buffer_, *parser_,
        [self = this->shared_from_this()](const Error& error, std::size_t) { self->Answer(error); });
  }

  void Answer(const Error& error) {
    answer_ = RecordedAnswer();
    if (site_.latency.count() > 0) {
      answer_.Wait(site_.latency);
    }
    if (auto refusal = RefuseUnreadable(error)) {
      end_ = WriteResponse(LastRequest(), std::move(*refusal), answer_);
    } else if (error) {
      return;
    } else {
      const HttpRequest request = TakeRequest(*parser_);
      end_ = WriteResponse(request, AnswerSafely(site_.handler, request), answer_);
    }
    Play(stream_, [this] { ReadRequest(); });
  }

  /// Sends the answer, and then does what is to become of the connection.
  template <class Layer, class Next>
  void Play(Layer& layer, Next next) {
    if (answer_.Empty()) {
      return end_ == Fault::End::Keep ? next() : Finish(layer);
    }
    if (answer_.Front().wait.count() == 0) {
      return Send(layer, std::move(next));
    }
    timer_.expires_after(answer_.Front().wait);
    timer_.async_wait([self = this->shared_from_this(), &layer, next](const Error& error) {
      if (!error) {
        self->Send(layer, next);
      }
    });
  }

  template <class Layer, class Next>
  void Send(Layer& layer, Next next) {
    boost::asio::async_write(layer, boost::asio::buffer(answer_.Front().bytes),
                             [self = this->shared_from_this(), &layer, next](const Error& error, std::size_t) {
                               if (!error) {
                                 self->answer_.Pop();
                                 self->Play(layer, next);
                               }
                             });
  }

  template <class Layer>
  void Finish(Layer& layer) {
    Error error;
    if (end_ == Fault::End::Hang) {
      Hang(layer);
    } else if (end_ == Fault::End::Reset) {
      LowestLayer().set_option(boost::asio::socket_base::linger(true, 0), error);
      LowestLayer().close(error);
    } else if (end_ == Fault::End::Close) {
      SayGoodbye(layer);
    }
  }

  void SayGoodbye(Socket&) {}

  /// Does not wait for the answer.
  template <class Layer>
  void SayGoodbye(Layer& layer) {
    ::shutdown(LowestLayer().native_handle(), SHUT_RD);
    layer.async_shutdown([self = this->shared_from_this()](const Error&) {});
  }

  /// Reads until the peer leaves.
  template <class Layer>
  void Hang(Layer& layer) {
    layer.async_read_some(boost::asio::buffer(ignored_),
                          [self = this->shared_from_this(), &layer](const Error& error, std::size_t) {
                            if (!error) {
                              self->Hang(layer);
                            }
                          });
  }

  const HttpFarm::Site& site_;
  boost::asio::steady_timer timer_;
  Stream stream_;
  boost::beast::flat_buffer buffer_;
  std::optional<RequestParser> parser_;
  RecordedAnswer answer_;
  Fault::End end_ = Fault::End::Keep;
  std::array<char, 512> ignored_{};
};

}  // namespace Kelvar::Simulator
