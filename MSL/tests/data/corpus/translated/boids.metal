// language: metal2.0
#include <metal_stdlib>
#include <simd/simd.h>

using metal::uint;

struct Bird {
    metal::float2 position;
    metal::float2 velocity;
};
struct FlockParameters {
    float deltaT;
    float cohesionDistance;
    float separationDistance;
    float alignmentDistance;
    float cohesionScale;
    float separationScale;
    float alignmentScale;
};
typedef Bird type_2[1];
struct Birds {
    type_2 items;
};
struct _bufferSizes {
    uint size1;
    uint size2;
};
constant uint NUM_BIRDS = 1500u;

struct main_Input {
};
kernel void main_(
  metal::uint3 global_invocation_id [[thread_position_in_grid]]
, constant FlockParameters& params [[buffer(0)]]
, device type_2 const& birdsSrc [[buffer(1)]]
, device type_2& birdsDst [[buffer(2)]]
, constant _bufferSizes& _buffer_sizes [[buffer(3)]]
) {
    metal::float2 vPos = {};
    metal::float2 vVel = {};
    metal::float2 cMass = metal::float2(0.0, 0.0);
    metal::float2 cVel = metal::float2(0.0, 0.0);
    metal::float2 colVel = metal::float2(0.0, 0.0);
    int cMassCount = 0;
    int cVelCount = 0;
    metal::float2 pos = {};
    metal::float2 vel = {};
    uint i = 0u;
    uint index = global_invocation_id.x;
    if (index >= NUM_BIRDS) {
        return;
    }
    metal::float2 _e8 = birdsSrc[index].position;
    vPos = _e8;
    metal::float2 _e14 = birdsSrc[index].velocity;
    vVel = _e14;
    bool loop_init = true;
    while(true) {
        if (!loop_init) {
            uint _e91 = i;
            i = _e91 + 1u;
        }
        loop_init = false;
        uint _e36 = i;
        if (_e36 >= NUM_BIRDS) {
            break;
        }
        uint _e39 = i;
        if (_e39 == index) {
            continue;
        }
        uint _e43 = i;
        pos = birdsSrc[_e43].position;
        vel = birdsSrc[_e43].velocity;
        metal::float2 _e53 = pos;
        metal::float2 _e54 = vPos;
        float _e55 = params.cohesionDistance;
        if (metal::distance(_e53, _e54) < _e55) {
            cMass = cMass + _e53;
            cMassCount = as_type<int>(as_type<uint>(cMassCount) + as_type<uint>(1));
        }
        if (metal::distance(pos, vPos) < params.separationDistance) {
            colVel = colVel - (pos - vPos);
        }
        if (metal::distance(pos, vPos) < params.alignmentDistance) {
            cVel = cVel + vel;
            cVelCount = as_type<int>(as_type<uint>(cVelCount) + as_type<uint>(1));
        }
    }
    if (cMassCount > 0) {
        cMass = (cMass / metal::float2(static_cast<float>(cMassCount))) - vPos;
    }
    if (cVelCount > 0) {
        cVel = cVel / metal::float2(static_cast<float>(cVelCount));
    }
    vVel = ((vVel + (cMass * params.cohesionScale)) + (colVel * params.separationScale)) + (cVel * params.alignmentScale);
    vVel = metal::normalize(vVel) * metal::clamp(metal::length(vVel), 0.0, 0.1);
    vPos = vPos + (vVel * params.deltaT);
    if (vPos.x < -1.0) {
        vPos.x = 1.0;
    }
    if (vPos.y > 1.0) {
        vPos.y = -1.0;
    }
    birdsDst[index].position = vPos;
    birdsDst[index].velocity = vVel;
    return;
}
