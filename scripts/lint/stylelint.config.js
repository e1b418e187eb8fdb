export default {
  extends: 'stylelint-config-standard',
  rules: {
    'no-descending-specificity': null,
    'declaration-block-no-redundant-longhand-properties': null,
    // No other property limits the number of lines yet.
    'value-no-vendor-prefix': [true, { ignoreValues: ['-webkit-box'] }],
    'property-no-vendor-prefix': [true, { ignoreProperties: ['/^-webkit-box/'] }],
  },
};
