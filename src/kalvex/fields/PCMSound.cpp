#include "kalvex/fields/PCMSound.h"

#include "kalvex/object/Logging.h"

namespace Kalvex {

void PCMSound::set(unsigned int rate, unsigned int bits, unsigned int channels,
                   std::vector<unsigned char> data) {
    _sampleRate = rate;
    _bitsPerSample = bits;
    _channels = channels;
    _data = std::move(data);
}

void PCMSound::set(unsigned int rate, unsigned int bits, unsigned int channels, unsigned int size,
                   const unsigned char* data) {
    _sampleRate = rate;
    _bitsPerSample = bits;
    _channels = channels;
    if (size == 0 || !data) return;
    _data.assign(data, data + size);
}

bool PCMSound::operator==(const PCMSound& other) const {
    return _sampleRate == other._sampleRate && _bitsPerSample == other._bitsPerSample &&
           _channels == other._channels && _data == other._data;
}

bool PCMSound::setDataByStr(const char*) {
    KFATAL("PCMSound::setDataByStr() not impl\n");
    return false;
}

std::string& PCMSound::getStrData(std::string& out) const {
    KFATAL("PCMSound::getStrData() not impl\n");
    return out;
}

double PCMSound::duration() const {
    double bytesPerSecond = double(_sampleRate) * _channels * (_bitsPerSample / 8.0);
    return bytesPerSecond > 0 ? double(_data.size()) / bytesPerSecond : 0.0;
}

void PCMSound::dump() const {
    KLOG("PCMSound: sR/b/c/d/ds: %d/%d/%d/%f/%d\n", _sampleRate, _bitsPerSample, _channels,
         duration(), int(_data.size()));
}

}  // namespace Kalvex
