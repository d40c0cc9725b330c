// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT
//
// The card photo's codec beside JPEG 2000 (OpenJPEG) at the same number of bytes: quality of three
// drawn portraits, and time of a decode (OpenJPEG's to component planes, ours to the bitmap). Then
// the rest of a record's decoding.

#include "idcard/id_info.h"
#include "idcard/read_id_card.h"
#include "idimage/libwlt.h"
#include "virtual/identity_card.h"
#include "virtual/photo_encoder.h"
#include "virtual/portrait.h"

#include <QImage>
#include <QLoggingCategory>

#include <openjpeg.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

template <typename Work>
double medianMicroseconds(Work work, int rounds = 101)
{
    std::vector<double> times;
    for (int i = 0; i < rounds; ++i) {
        const Clock::time_point start = Clock::now();
        work();
        times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    }
    std::nth_element(times.begin(), times.begin() + rounds / 2, times.end());
    return times[static_cast<std::size_t>(rounds / 2)];
}

// A JPEG 2000 codestream in memory, read and written through OpenJPEG's streams.
struct Memory
{
    std::vector<unsigned char> bytes;
    std::size_t position = 0;
};

OPJ_SIZE_T readMemory(void* target, OPJ_SIZE_T count, void* user)
{
    auto* memory = static_cast<Memory*>(user);
    const std::size_t left = memory->bytes.size() - memory->position;
    if (left == 0)
        return static_cast<OPJ_SIZE_T>(-1);
    const std::size_t taken = std::min<std::size_t>(count, left);
    std::memcpy(target, memory->bytes.data() + memory->position, taken);
    memory->position += taken;
    return taken;
}

OPJ_SIZE_T writeMemory(void* source, OPJ_SIZE_T count, void* user)
{
    auto* memory = static_cast<Memory*>(user);
    memory->bytes.resize(std::max<std::size_t>(memory->bytes.size(), memory->position + count));
    std::memcpy(memory->bytes.data() + memory->position, source, count);
    memory->position += count;
    return count;
}

OPJ_OFF_T skipMemory(OPJ_OFF_T count, void* user)
{
    static_cast<Memory*>(user)->position += static_cast<std::size_t>(count);
    return count;
}

OPJ_BOOL seekMemory(OPJ_OFF_T position, void* user)
{
    static_cast<Memory*>(user)->position = static_cast<std::size_t>(position);
    return OPJ_TRUE;
}

template <auto Destroy>
struct OpjDelete
{
    template <typename Object>
    void operator()(Object* object) const
    {
        Destroy(object);
    }
};
using Stream = std::unique_ptr<opj_stream_t, OpjDelete<opj_stream_destroy>>;
using Codec = std::unique_ptr<opj_codec_t, OpjDelete<opj_destroy_codec>>;
using OpjImage = std::unique_ptr<opj_image_t, OpjDelete<opj_image_destroy>>;

Stream streamOn(Memory& memory, bool input)
{
    Stream stream(opj_stream_create(4096, input ? OPJ_TRUE : OPJ_FALSE));
    opj_stream_set_user_data(stream.get(), &memory, nullptr);
    opj_stream_set_user_data_length(stream.get(), memory.bytes.size());
    opj_stream_set_read_function(stream.get(), readMemory);
    opj_stream_set_write_function(stream.get(), writeMemory);
    opj_stream_set_skip_function(stream.get(), skipMemory);
    opj_stream_set_seek_function(stream.get(), seekMemory);
    return stream;
}

// The irreversible filter, one layer at the rate that gives `bytes`: what JPEG 2000 does best here.
Memory encodeJpeg2000(const QImage& picture, int bytes)
{
    opj_image_cmptparm_t component{};
    component.dx = component.dy = 1;
    component.w = static_cast<OPJ_UINT32>(picture.width());
    component.h = static_cast<OPJ_UINT32>(picture.height());
    component.prec = 8;
    opj_image_cmptparm_t components[] = {component, component, component};
    const OpjImage image(opj_image_create(3, components, OPJ_CLRSPC_SRGB));
    image->x1 = component.w;
    image->y1 = component.h;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const QRgb rgb = picture.pixel(x, y);
            const int at = y * picture.width() + x;
            image->comps[0].data[at] = qRed(rgb);
            image->comps[1].data[at] = qGreen(rgb);
            image->comps[2].data[at] = qBlue(rgb);
        }
    }
    opj_cparameters_t parameters;
    opj_set_default_encoder_parameters(&parameters);
    parameters.tcp_numlayers = 1;
    parameters.cp_disto_alloc = 1;
    parameters.tcp_rates[0] =
        3.0F * static_cast<float>(picture.width() * picture.height()) / static_cast<float>(bytes);
    parameters.irreversible = 1;
    parameters.tcp_mct = 1;
    const Codec codec(opj_create_compress(OPJ_CODEC_J2K));
    opj_setup_encoder(codec.get(), &parameters, image.get());
    Memory memory;
    const Stream stream = streamOn(memory, false);
    if (!opj_start_compress(codec.get(), image.get(), stream.get()) ||
        !opj_encode(codec.get(), stream.get()) || !opj_end_compress(codec.get(), stream.get()))
        memory.bytes.clear();
    memory.position = 0;
    return memory;
}

OpjImage decodeJpeg2000(Memory memory)
{
    const Codec codec(opj_create_decompress(OPJ_CODEC_J2K));
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    opj_setup_decoder(codec.get(), &parameters);
    const Stream stream = streamOn(memory, true);
    opj_image_t* header = nullptr;
    if (!opj_read_header(stream.get(), codec.get(), &header))
        return {};
    OpjImage image(header);
    if (!opj_decode(codec.get(), stream.get(), image.get()))
        return {};
    return image;
}

QImage toPicture(const OpjImage& image)
{
    if (!image)
        return {};
    QImage picture(static_cast<int>(image->x1), static_cast<int>(image->y1), QImage::Format_RGB32);
    const auto sample = [&](int component, int at) {
        return std::clamp(image->comps[component].data[at], 0, 255);
    };
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const int at = y * picture.width() + x;
            picture.setPixel(x, y, qRgb(sample(0, at), sample(1, at), sample(2, at)));
        }
    }
    return picture;
}

void compareQuality()
{
    std::printf("%-12s %14s %14s %14s %14s %8s\n", "portrait", "JPEG 2000 B", "JPEG 2000 dB",
                "card photo B", "card photo dB", "dB less");
    for (int holder = 0; holder < Portraits; ++holder) {
        const QImage portrait = drawPortrait(holder);
        const Memory reference = encodeJpeg2000(portrait, PhotoPayloadBytes);
        const double referenceDb = lumaPsnr(toPicture(decodeJpeg2000(reference)), portrait);
        const double ours = lumaPsnr(decodePhoto(encodePhoto(portrait)), portrait);
        std::printf("%-12d %14zu %14.2f %14d %14.2f %8.2f\n", holder, reference.bytes.size(),
                    referenceDb, PhotoPayloadBytes, ours, referenceDb - ours);
    }
}

void compareDecoding()
{
    std::printf("\n%-34s %12s %12s %8s %8s\n", "decode of a photo (us)", "JPEG 2000", "card photo",
                "ratio", "aim");
    for (int holder = 0; holder < Portraits; ++holder) {
        const QImage portrait = drawPortrait(holder);
        const Memory reference = encodeJpeg2000(portrait, PhotoPayloadBytes);
        QByteArray block = encodePhoto(portrait);
        auto* const source = reinterpret_cast<unsigned char*>(block.data());
        std::vector<unsigned char> bitmap(libwlt::BitmapBytes);
        int length = 0;
        const double jpeg2000 = medianMicroseconds([&] { decodeJpeg2000(reference); }, 501);
        const double ours = medianMicroseconds(
            [&] { libwlt().Unpack_Data(source, block.size(), bitmap.data(), &length); }, 501);
        std::printf("portrait %-25d %12.0f %12.0f %8.2f %8.2f\n", holder, jpeg2000, ours,
                    ours / jpeg2000, 1.0);
    }
}

void compareRecord()
{
    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    const auto info = std::make_unique<IDINFO>();
    const QByteArray data = cardData(sampleCard(CardType::Resident)).leftJustified(2310, '\0');
    const double clearing =
        medianMicroseconds([&] { std::memset(static_cast<void*>(info.get()), 1, sizeof *info); });
    std::fflush(stdout);
    std::FILE* const quiet = std::freopen("/dev/null", "w", stdout);
    const double decoding = medianMicroseconds([&] {
        ReadIDCard().AnalysisID(reinterpret_cast<const unsigned char*>(data.constData()),
                                info.get(), false, nullptr);
    });
    const double lookup = medianMicroseconds([] { FindUnicode(0xFFFF); });
    if (quiet == nullptr)
        return;
    std::fprintf(stderr, "\n%-34s %12s %12s %8s\n", "record (us)", "clearing it", "decoding it",
                 "ratio");
    std::fprintf(stderr, "%-34s %12.1f %12.1f %8.2f\n", "resident card without photo", clearing,
                 decoding, decoding / clearing);
    std::fprintf(stderr, "%-34s %12s %12.2f\n", "character lookup, worst case", "", lookup);
}

} // namespace

int main()
{
    compareQuality();
    compareDecoding();
    compareRecord();
    return 0;
}
