#pragma once

#include <string>
#include <vector>

namespace Kalvex {

// Raw PCM samples with their format. Sound has no text form.
class PCMSound {
  public:
    PCMSound() : _sampleRate(0), _bitsPerSample(0), _channels(0) {}
    virtual ~PCMSound() = default;

    void set(unsigned int rate, unsigned int bits, unsigned int channels,
             std::vector<unsigned char> data);
    // With size 0 only the three numbers change and the earlier data stay.
    void set(unsigned int rate, unsigned int bits, unsigned int channels, unsigned int size,
             const unsigned char* data);

    bool operator==(const PCMSound& other) const;

    bool setDataByStr(const char* text);
    std::string& getStrData(std::string& out) const;
    void dump() const;

    unsigned int sampleRate() const { return _sampleRate; }
    unsigned int bitsPerSample() const { return _bitsPerSample; }
    unsigned int channels() const { return _channels; }
    const std::vector<unsigned char>& data() const { return _data; }
    // Length in seconds; 0 when the format is incomplete.
    double duration() const;

  private:
    unsigned int _sampleRate;
    unsigned int _bitsPerSample;
    unsigned int _channels;
    std::vector<unsigned char> _data;
};

}  // namespace Kalvex
