// Declares the part of PocketSphinx 5 that we use, for the checks on Linux. Homebrew has version 5. Debian 12 has an
// older version.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

extern "C" {

typedef struct ps_config_s ps_config_t;
typedef struct ps_decoder_s ps_decoder_t;
typedef struct ps_seg_s ps_seg_t;
typedef struct ps_vad_s ps_vad_t;
typedef struct ps_arg_s ps_arg_t;
typedef union anytype_u anytype_t;
typedef void (*err_cb_f)(void* data, int level, const char* format, ...);

void err_set_logfp(FILE* stream);
void err_set_callback(err_cb_f callback, void* data);

ps_config_t* ps_config_init(const ps_arg_t* definitions);
int ps_config_free(ps_config_t* config);
const anytype_t* ps_config_set_str(ps_config_t* config, const char* name, const char* value);
const anytype_t* ps_config_set_bool(ps_config_t* config, const char* name, int value);
const anytype_t* ps_config_set_int(ps_config_t* config, const char* name, long value);

ps_decoder_t* ps_init(ps_config_t* config);
int ps_free(ps_decoder_t* decoder);
int ps_start_stream(ps_decoder_t* decoder);
int ps_start_utt(ps_decoder_t* decoder);
int ps_process_raw(ps_decoder_t* decoder, const std::int16_t* samples, std::size_t count, int noSearch, int whole);
const char* ps_get_cmn(ps_decoder_t* decoder, int update);
int ps_set_cmn(ps_decoder_t* decoder, const char* values);
int ps_end_utt(ps_decoder_t* decoder);
ps_seg_t* ps_seg_iter(ps_decoder_t* decoder);
ps_seg_t* ps_seg_next(ps_seg_t* segment);
const char* ps_seg_word(ps_seg_t* segment);
void ps_seg_frames(ps_seg_t* segment, int* first, int* last);

typedef enum ps_vad_mode_e { PS_VAD_LOOSE = 0 } ps_vad_mode_t;
typedef enum ps_vad_class_e { PS_VAD_ERROR = -1, PS_VAD_NOT_SPEECH = 0, PS_VAD_SPEECH = 1 } ps_vad_class_t;
ps_vad_t* ps_vad_init(ps_vad_mode_t mode, int sampleRate, double frameLength);
int ps_vad_free(ps_vad_t* vad);
std::size_t ps_vad_frame_size(ps_vad_t* vad);
ps_vad_class_t ps_vad_classify(ps_vad_t* vad, const std::int16_t* frame);
}
