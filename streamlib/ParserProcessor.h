#pragma once

#include <cstdint>

namespace SPL {

/// Parses headers of one kind and hands each sound one to a consumer's On(header). `Stream` describes what
/// the codec's later headers need of earlier ones; headers that need it take it as a third argument of Parse.
template <class Header>
class BaseEventParser {
 public:
  /// Parses the `size` bytes at `unit`; false when they are no sound header of this kind.
  template <class Stream, class Consumer>
  bool Parse(const std::uint8_t* unit, std::int32_t size, const Stream& stream, Consumer& consumer) {
    if (!ParseHeader(unit, size, stream)) return false;
    consumer.On(m_header);
    return true;
  }

  /// The header as the latest Parse left it.
  const Header& GetHeader() const { return m_header; }

 private:
  template <class Stream>
  bool ParseHeader(const std::uint8_t* unit, std::int32_t size, const Stream& stream) {
    if constexpr (requires { m_header.Parse(unit, size, stream); }) {
      return m_header.Parse(unit, size, stream);
    } else {
      return m_header.Parse(unit, size);
    }
  }

  Header m_header;
};

/// Runs the units of one stream through its codec's parser: Parser::Process(unit, size, stream, consumer)
/// chooses the header parser, Stream keeps the state between headers.
template <class Parser, class Consumer, class Stream>
class ParserProcessor {
 public:
  /// False when the unit is not one that the parser knows, or not sound.
  bool Process(const std::uint8_t* unit, std::int32_t size, Consumer& consumer) {
    return m_parser.Process(unit, size, m_stream, consumer);
  }

  const Parser& GetParser() const { return m_parser; }
  const Stream& GetStream() const { return m_stream; }

 private:
  Parser m_parser;
  Stream m_stream;
};

}  // namespace SPL
