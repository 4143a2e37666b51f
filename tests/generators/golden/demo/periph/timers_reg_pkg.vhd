-- ###############################################################
--          periph/timers_reg_pkg.vhd
-- ###############################################################
-- Generated automatically by Ombrel
--
-- Module Description :
--
--      
--
-- ---------------------------------------------------------------
--  $HeadURL: $
--  $Author: $
--  $Date: $
--  $Revision: $
-- ---------------------------------------------------------------
-- ###############################################################
--          VHDL CODE
-- ###############################################################
-------------------------------------------------
-- Libraries
-------------------------------------------------
LIBRARY IEEE;
USE ieee.std_logic_1164.all;

package timers_reg_pkg is

-- Archive Variables
constant CH1:                                   integer := 0;
constant CH2:                                   integer := 1;
constant CH3:                                   integer := 2;
constant CH4:                                   integer := 3;
--Width of the counter, in bits.
constant TIM_WIDTH:                             integer := 16;
constant TIM_CHANNELS:                          integer := 4;
subtype TIM_CNT_RANGE is                        integer range 0 to TIM_WIDTH - 1;

--Capture/compare values

-- Register definition
-- Register Map
-- Address bit for register decoding
constant GPTIMER_REG_NBA: natural := 6;

-- Registers are defined by
--  * an address :          at_REG_NAME
--  * a logical map :       constant or ranges for each field l_Field_Name
--  * a physical map :      constant or ranges for each field p_Field_Name
--  * a physical range :    range_Reg_Name

constant at_CR1:                                integer := 0;
-- logical map
constant l_CEN:                                 integer := 0;
constant l_UDIS:                                integer := 1;
constant l_URS:                                 integer := 2;
constant l_OPM:                                 integer := 3;
constant l_DIR:                                 integer := 4;
subtype  l_CMS is                               integer range 6 downto 5;
constant l_ARPE:                                integer := 7;
subtype  l_CKD is                               integer range 9 downto 8;
subtype  l_COUNT_MODE is                        integer range 6 downto 4;
-- physical map
constant p_CEN:                                 integer := 0;
constant p_UDIS:                                integer := 1;
constant p_URS:                                 integer := 2;
constant p_OPM:                                 integer := 3;
constant p_DIR:                                 integer := 4;
subtype  p_CMS is                               integer range 6 downto 5;
constant p_ARPE:                                integer := 7;
subtype  p_CKD is                               integer range 9 downto 8;
subtype  p_COUNT_MODE is                        integer range 6 downto 4;
subtype range_CR1 is                            integer range 9 downto 0;

constant at_DIER:                               integer := 4;
-- logical map
constant l_UIE:                                 integer := 0;
constant l_CCIE1:                               integer := 1;
constant l_CCIE2:                               integer := 2;
constant l_CCIE3:                               integer := 3;
constant l_CCIE4:                               integer := 4;
constant l_UDE:                                 integer := 8;
subtype  l_CCIE is                              integer range 4 downto 1;
-- physical map
constant p_UIE:                                 integer := 0;
constant p_CCIE1:                               integer := 1;
constant p_CCIE2:                               integer := 2;
constant p_CCIE3:                               integer := 3;
constant p_CCIE4:                               integer := 4;
constant p_UDE:                                 integer := 5;
subtype  p_CCIE is                              integer range 4 downto 1;
subtype range_DIER is                           integer range 5 downto 0;

constant at_SR:                                 integer := 8;
-- logical map
constant l_UIF:                                 integer := 0;
constant l_CCIF1:                               integer := 1;
constant l_CCIF2:                               integer := 2;
constant l_CCIF3:                               integer := 3;
constant l_CCIF4:                               integer := 4;
constant l_CCOF1:                               integer := 9;
constant l_CCOF2:                               integer := 10;
constant l_CCOF3:                               integer := 11;
constant l_CCOF4:                               integer := 12;
subtype  l_CCIF is                              integer range 4 downto 1;
subtype  l_CCOF is                              integer range 12 downto 9;
subtype  l_ALL_IF is                            integer range 4 downto 0;
-- physical map
constant p_UIF:                                 integer := 0;
constant p_CCIF1:                               integer := 1;
constant p_CCIF2:                               integer := 2;
constant p_CCIF3:                               integer := 3;
constant p_CCIF4:                               integer := 4;
constant p_CCOF1:                               integer := 5;
constant p_CCOF2:                               integer := 6;
constant p_CCOF3:                               integer := 7;
constant p_CCOF4:                               integer := 8;
subtype  p_CCIF is                              integer range 4 downto 1;
subtype  p_CCOF is                              integer range 8 downto 5;
subtype  p_ALL_IF is                            integer range 4 downto 0;
subtype range_SR is                             integer range 8 downto 0;

constant at_EGR:                                integer := 12;
-- logical map
constant l_UG:                                  integer := 0;
constant l_CCG1:                                integer := 1;
constant l_CCG2:                                integer := 2;
constant l_CCG3:                                integer := 3;
constant l_CCG4:                                integer := 4;
subtype  l_CCG is                               integer range 4 downto 1;
-- physical map
constant p_UG:                                  integer := 0;
constant p_CCG1:                                integer := 1;
constant p_CCG2:                                integer := 2;
constant p_CCG3:                                integer := 3;
constant p_CCG4:                                integer := 4;
subtype  p_CCG is                               integer range 4 downto 1;
subtype range_EGR is                            integer range 4 downto 0;

constant at_CCER:                               integer := 16;
-- logical map
subtype  l_CFG_CH1 is                           integer range 3 downto 0;
subtype  l_CFG_CH2 is                           integer range 7 downto 4;
subtype  l_CFG_CH3 is                           integer range 11 downto 8;
subtype  l_CFG_CH4 is                           integer range 15 downto 12;
subtype  l_CCCFG is                             integer range 15 downto 0;
-- physical map
subtype  p_CFG_CH1 is                           integer range 3 downto 0;
subtype  p_CFG_CH2 is                           integer range 7 downto 4;
subtype  p_CFG_CH3 is                           integer range 11 downto 8;
subtype  p_CFG_CH4 is                           integer range 15 downto 12;
subtype  p_CCCFG is                             integer range 15 downto 0;
subtype range_CCER is                           integer range 15 downto 0;

constant at_CNT:                                integer := 20;
-- logical map
subtype  l_CNT is                               integer range 15 downto 0;
-- physical map
subtype  p_CNT is                               integer range 15 downto 0;
subtype range_CNT is                            integer range 15 downto 0;

constant at_PSC:                                integer := 24;
-- logical map
subtype  l_PSC is                               integer range 15 downto 0;
-- physical map
subtype  p_PSC is                               integer range 15 downto 0;
subtype range_PSC is                            integer range 15 downto 0;

constant at_ARR:                                integer := 28;
-- logical map
subtype  l_ARR is                               integer range 15 downto 0;
-- physical map
subtype  p_ARR is                               integer range 15 downto 0;
subtype range_ARR is                            integer range 15 downto 0;

-- logical map
subtype  l_CCR is                               integer range 15 downto 0;
-- physical map
subtype  p_CCR is                               integer range 15 downto 0;
subtype range_CCR is                            integer range 15 downto 0;
constant at_CCR_0:                              integer := 32;
constant at_CCR_1:                              integer := 36;
constant at_CCR_2:                              integer := 40;
constant at_CCR_3:                              integer := 44;
constant tabsize_CCR:                           integer := 4;
type tab_CCR is array (NATURAL range <>) of std_logic_vector(range_CCR);


end timers_reg_pkg;
