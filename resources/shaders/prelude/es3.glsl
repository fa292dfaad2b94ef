#version 300 es
precision highp float;
precision highp int;
