/*
 * One sound that moves, loops, fades and stops. The library plays a sound from its beginning to its end at one place,
 * so this one is played in grains: short pieces that overlap, each at the place where the sound is by then. C99 and
 * C++.
 *
 *     KalVoice engine = kalVoice(samples, numFrames, 48000);   // mono floats, which stay the host's
 *     engine.isLooped = 1;
 *     ...
 *     engine.position = car;                                   // whenever it has moved
 *     kalVoiceFade(&engine, 0.2f, 1.5);                        // a fade to a volume; kalVoiceStop(&engine) is one to 0
 *     kalVoiceUpdate(&engine, &kal, Seconds());                // once a game frame, with the time as it is just then
 *
 * The time is that of a steady clock, in seconds. Every grain is cut for the moment of the call, as the library starts
 * it then: it begins with silence up to the frame where the grain before begins to fade out, and goes on with the very
 * samples that are due there. Both fades add up to one.
 *
 * What it costs: up to four of the context's positional sounds, twenty small buffers a second, and the time of mixing
 * as many sounds. Moves, fades and stops are heard up to 0.1 s later than those of a sound of the library's own. A game
 * frame that takes longer than 50 ms leaves a gap, after which the sound goes on as if it had played. The overlaps
 * are as exact as the audio callback is punctual.
 */
#ifndef KAL_VOICE_H
#define KAL_VOICE_H

#include "KALMarble.h"

#include <math.h>
#include <stdlib.h>

#define KAL_VOICE_GRAIN 0.05 /* seconds from one grain to the next */
#define KAL_VOICE_FADE 0.01  /* seconds that two grains overlap */
#define KAL_VOICE_AHEAD 0.05 /* seconds that a grain is cut ahead of its beginning, at most */

typedef struct KalVoice {
    const float* samples;
    int numFrames;
    double samplingRate; /* Hz */

    int isLooped;
    int isRelative;            /* to the listener, as with playRelative; else in the world */
    KalVector3 position;       /* of the grains to come */
    float referenceDistanceSq; /* as in KalPlayParam */

    double begin;  /* when the sound began; below 0: at the next update */
    double next;   /* when the next grain begins, which is when the one before begins to fade out */
    double volume; /* at `next` */
    double target; /* volume that a fade goes to */
    double slope;  /* of the fade, a second, not negative */
    int isOver;    /* nothing is to come any more */
} KalVoice;

/* A voice that begins at its first update, two metres ahead of the listener. */
static inline KalVoice kalVoice(const float* samples, int numFrames, double samplingRate)
{
    const KalVoice voice = {samples, numFrames, samplingRate, 0, 1, {0, 0, 2}, 1, -1, 0, 1, 1, 0, numFrames <= 0};
    return voice;
}

/* From the next grain on, moves the volume to `volume` within `seconds`. */
static inline void kalVoiceFade(KalVoice* voice, float volume, double seconds)
{
    voice->target = volume;
    voice->slope = fabs(volume - voice->volume) / (seconds > KAL_VOICE_FADE ? seconds : KAL_VOICE_FADE);
}

/* Fades out at once. */
static inline void kalVoiceStop(KalVoice* voice)
{
    kalVoiceFade(voice, 0, 0);
}

/* The volume `seconds` after `next`. */
static inline double kalVoiceVolume(const KalVoice* voice, double seconds)
{
    const double way = voice->slope * (seconds > 0 ? seconds : 0), left = voice->target - voice->volume;
    return fabs(left) <= way ? voice->target : voice->volume + (left < 0 ? -way : way);
}

/* One frame of the grain, `seconds` after its beginning. The first grain begins as the sound does. */
static inline float kalVoiceSample(const KalVoice* voice, double seconds)
{
    const double in = voice->next > voice->begin ? seconds : KAL_VOICE_FADE;
    const double edge = fmin(in, KAL_VOICE_GRAIN + KAL_VOICE_FADE - seconds) / KAL_VOICE_FADE;
    double frame = floor((voice->next + seconds - voice->begin) * voice->samplingRate + 0.5);
    if (voice->isLooped) frame = fmod(frame, voice->numFrames);
    if (edge <= 0 || frame < 0 || frame >= voice->numFrames) return 0;
    return (float)(voice->samples[(size_t)frame] * kalVoiceVolume(voice, seconds) *
                   (edge >= 1 ? 1 : 0.5 - 0.5 * cos(3.14159265358979 * edge)));
}

/* Cuts the next grain if it is due: fills *grain, which the caller frees, for a sound that starts at `now`, and returns
 * its frames; 0 while there is nothing to do. */
static inline int kalVoiceCut(KalVoice* voice, double now, float** grain)
{
    int i, count;
    if (voice->begin < 0) voice->begin = voice->next = now;
    if (voice->isOver || voice->next - now > KAL_VOICE_AHEAD) return 0;
    if (voice->next < now) { /* a gap: what should have played meanwhile is over */
        voice->volume = kalVoiceVolume(voice, now - voice->next);
        voice->next = now;
    }

    count = (int)((voice->next - now + KAL_VOICE_GRAIN + KAL_VOICE_FADE) * voice->samplingRate) + 1;
    *grain = (float*)malloc((size_t)count * sizeof **grain);
    if (!*grain) return 0;
    for (i = 0; i < count; ++i) (*grain)[i] = kalVoiceSample(voice, now + i / voice->samplingRate - voice->next);

    voice->volume = kalVoiceVolume(voice, KAL_VOICE_GRAIN);
    voice->next += KAL_VOICE_GRAIN;
    voice->isOver = (voice->volume == 0 && voice->target == 0) ||
                    (!voice->isLooped && (voice->next - voice->begin) * voice->samplingRate > (double)voice->numFrames);
    return count;
}

/* Plays what is due. Call it once a game frame, after respatialize. */
static inline void kalVoiceUpdate(KalVoice* voice, const KalContext* kal, double now)
{
    const KalPlayParam how = {1, 1, voice->referenceDistanceSq};
    float* grain = NULL;
    const int count = kalVoiceCut(voice, now, &grain);
    if (count > 0) {
        const KalBufferParam samples = {grain, 32, 1, count, voice->samplingRate};
        KalSampleBuffer* buffer = kal->createBuffer(kal->priv, &samples);
        if (buffer) {
            (voice->isRelative ? kal->playRelative : kal->playAbsolute)(kal->priv, buffer, &voice->position, &how);
            kal->freeBuffer(kal->priv, buffer); /* it plays on */
        }
    }
    free(grain);
}

#endif /* KAL_VOICE_H */
